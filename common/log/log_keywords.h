// Keywords that set up the log: levels, modes and maintenance. Case is ignored and leading white
// space is skipped; trailing characters are not.
//
// "LIMIT" with a size and the time stamp keywords are accepted and have no effect.
#pragma once
#include "../cplusplus.h"

namespace zrp {

// Obeys a keyword, which must be whole, and announces the change in the log, at every level.
// Returns 0, 1 for a text of white space only, or kInvalid for any other text.
int ProcessLogLevel(const char* text);

// Obeys a keyword without announcing it. The keyword may be abbreviated: "D" and "DE" mean DEBUG.
// The first match wins, in the order of the levels from "NOTHING" to "EVERYTHING", "DEFAULT",
// "SYSLOG" and the modes. "LIMIT", "TIMESTAMP" and "RESET" must be whole and may be followed by
// anything. Only this function knows "SYSLOG". Returns as ProcessLogLevel.
int ProcessLogLevelPrefix(const char* text);

} // namespace zrp
