// Log of a component that has a configuration file: the value of kLogLevelKey (config_file.h) in
// the file sets the level. Only one thread at a time may set up a component.
#pragma once
#include "../cplusplus.h"

#include <ctime>

#include "log_context.h"

namespace zrp {

inline constexpr size_t kLibraryNameSize = 4096; // with its terminator

struct LibraryLog {
    char name[kLibraryNameSize] = {};
    int32_t initialised = 0;
    LogContext* log = nullptr; // the log of the process, or null
};

// Names the component on the first call, cutting a longer name. Opens the log on logPath at the
// level when the component has none and logPath is not null; opening it for the first time opens
// the file twice and uses the second stream. Then takes the level of the configuration file,
// kLogWarning when it has none or one that is too long, and writes two lines at kLogInfo: the time
// of the call, and the level in force. A level that is no keyword of ProcessLogLevel changes
// nothing.
//
// Without a configPath, or when that file cannot be opened for reading and writing, the level stays
// and nothing is written.
//
// Returns kInvalid for a null context, else the result of reading the key, kOk without a
// configuration file.
int InitLibraryLog(LibraryLog* context, const char* name, const char* configPath,
                   const char* logPath, int level);

} // namespace zrp
