// Log of a component that has a configuration file: the file's key "LOG_LEVEL" sets the level.
//
// InitLibraryLog is the whole of it; a component that keeps its own record takes the steps. Whoever
// attaches a log keeps the pointer to it; the log itself stays the one of the process. One thread
// at a time may set up a component.
#pragma once

#include <ctime>

#include "log_context.h"

namespace zrp {

inline constexpr size_t kLibraryNameSize = 4096; // with its terminator
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

// Starts the log with the level of the configuration file; a value that cannot be read counts as
// empty. Without a path, or when the file cannot be opened for reading and writing, does nothing.
// Returns what GetConfigValue returned, 0 without a file.
int start_log_from_config(const char* configPath, time_t started);

struct LibraryLog {
    char name[kLibraryNameSize] = {};
    int32_t initialised = 0;
    LogContext* log = nullptr;
};

// Names the component on the first call (a longer name is cut), attaches its log at the level when
// it has none and logPath is not null, and takes the level of the configuration file when there is
// one. Returns what start_log_from_config returned, or 22 for a null context.
int InitLibraryLog(LibraryLog* context, const char* name, const char* configPath,
                   const char* logPath, int level);

} // namespace zrp
