// Log of a component that has a configuration file: the file's key "LOG_LEVEL" sets the level.
//
// Whoever attaches a log keeps the pointer to it; the log itself stays the one of the process.
#pragma once

#include <ctime>

#include "log_context.h"

namespace zrp {

inline constexpr const char* kLogLevelKey = "LOG_LEVEL";
inline constexpr const char* kDefaultLogLevel = "WARNING";
inline constexpr int kLogLevelTextSize = 64; // with its terminator

// Opens the log on the path at the level, unless log is already there or the path is null. Opening
// it for the first time opens the file twice; the second stream is the one that is used.
// Returns the log that the caller has from now on.
LogContext* attach_log(LogContext* log, const char* path, int level);

// Takes the level that the configuration gave, kLogWarning when the text is empty, and writes two
// lines at kLogInfo: when the component started, and the level in force. A text that is no keyword
// changes nothing.
void start_log(const char* levelText, time_t started);

} // namespace zrp
