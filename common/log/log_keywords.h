// Words that set the log up: levels, modes and maintenance. Case never counts, leading white space
// is skipped, trailing characters are not.
//
// A size behind "LIMIT" and the time stamp words are accepted and have no effect.
#pragma once

namespace zrp {

// Takes a whole keyword and announces the change in the log, at every level.
// Returns 0, 1 for a text of white space only, 22 for anything else; 22 changes nothing.
int ProcessLogLevel(const char* text);

// The same without a word in the log. A keyword may be cut short: the first in the order of the
// table wins. "LIMIT", "TIMESTAMP" and "RESET" stand in full and may have more behind them.
// "SYSLOG" is known here alone.
int ProcessLogLevelPrefix(const char* text);

} // namespace zrp
