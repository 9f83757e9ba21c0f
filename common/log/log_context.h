// Log of the process: levelled messages and dumps, to a file or to the system log.
//
// There is one LogContext. InitLogContext opens it, GetLogContext returns it, and everything goes
// through its table of operations. A component that may run without a log keeps a LogContext
// pointer that may be null.
//
// Any thread may call any operation at any time: each takes one lock, so messages are never mixed.
// A message below the level takes no lock. The table is complete before main() and never changes.
// The numbers of the context are atomic and may be read on any thread; `stream` and the three texts
// belong to the log. No operation changes errno, and none may be called from a signal handler. "%m"
// in a format is the text of the caller's errno.
//
// A thread is not cancelled during an operation, and a fork waits for the end of the one under way:
// the child has a log of its own, with the same settings and the same file.
//
// Writers report no failure: a message is dropped when no file is open and the log is not in
// system-log mode. After a message that a full disk has cut, the next one begins on a new line.
// When other code has closed the log's descriptor, messages are dropped until LogOpen or
// SetLogMode(kLogModeDefault) opens the file again; nothing is written to another file that has got
// its number. Formats are those of printf; pass text from outside as an argument to "%s".
#pragma once
#include "../cplusplus.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace zrp {

enum LogLevel : int32_t {
    kLogNothing = 0,
    kLogError = 1,
    kLogWarning = 2,
    kLogInfo = 3,
    kLogDebug = 4,
    kLogDump = 5,
    kLogEverything = 6,
};

// Codes of SetLogMode. Any code above kLogModeReset acts like kLogModeDefault, and the other codes
// that are not listed do nothing.
enum LogMode : int {
    kLogModeDefault = 0,   // leave system-log mode and open the log file again, if there is one;
                           // when that fails, go on with the file that is open, if any
    kLogModeBackup = 1,    // accepted, does nothing
    kLogModeTruncate = 2,  // accepted, does nothing
    kLogModeSyslog = 3,    // close the file and write to the system log
    kLogModeClearFlag = 4, // clear bit 0 of flags
    kLogModeSetFlag = 5,   // set bit 0 of flags
    kLogModeReset = 8,     // empty the open file
};

inline constexpr uint64_t kLogMaxFileSize = 16777216;
inline constexpr size_t kLogPathSize = 271; // with its terminator
inline constexpr size_t kLogNameSize = 255; // with its terminator

struct LogOperations {
    // Writes a line when the log's level is at least that of the operation. The Tag forms put "tag:
    // " before the text. In system-log mode every line has priority LOG_DEBUG and no tag.
    [[gnu::format(printf, 1, 2)]] void (*LogDebug)(const char* format, ...);
    [[gnu::format(printf, 2, 3)]] void (*LogDebugTag)(const char* tag, const char* format, ...);
    [[gnu::format(printf, 1, 2)]] void (*LogInfo)(const char* format, ...);
    [[gnu::format(printf, 2, 3)]] void (*LogInfoTag)(const char* tag, const char* format, ...);
    [[gnu::format(printf, 1, 2)]] void (*LogWarning)(const char* format, ...);
    [[gnu::format(printf, 2, 3)]] void (*LogWarningTag)(const char* tag, const char* format, ...);
    [[gnu::format(printf, 1, 2)]] void (*LogError)(const char* format, ...);
    [[gnu::format(printf, 2, 3)]] void (*LogErrorTag)(const char* tag, const char* format, ...);

    // Accepts any number; above kLogEverything everything is written.
    void (*SetLogLevel)(int level);

    // One step up, to kLogEverything at most, or down, to kLogNothing. Both return the new level.
    int (*LogLevelUp)();
    int (*LogLevelDown)();

    // Opens the file for appending and removes ALL its permission bits: only root can then read the
    // log, or open it a second time, without a chmod. A null path means the stored one. A stream
    // that is already open is replaced, not closed. A symbolic link, and a file that has another
    // name, cannot be opened. What is no regular file keeps its mode, and messages are dropped when
    // it does not take them at once.
    // Returns kOk; kNotFound when the file cannot be opened, kNoMemory when the log has no memory
    // for a path, and kInvalid without any path, all three with a line on standard error; kTooLong
    // for a path of kLogPathSize characters or more, without touching a file.
    int (*LogOpen)(const char* path);
    void (*LogClose)();
    void (*LogFlush)();

    // Returns the size of the open file in bytes, 0 without one.
    int64_t (*LogSize)();

    // Closes the file or the system log and frees the names. InitLogContext may then run again.
    void (*LogShutdown)();

    // Write a block at kLogDump and above: a formatted text, the bytes as they are, or the bytes in
    // hexadecimal, which is never written to the system log. A negative length means no bytes.
    [[gnu::format(printf, 1, 2)]] void (*LogDump)(const char* format, ...);
    void (*LogLDump)(const void* buffer, int length);
    void (*LogBDump)(const void* buffer, int length);

    // Writes a line at every level.
    [[gnu::format(printf, 1, 2)]] void (*LogPlain)(const char* format, ...);

    // Writes a line of at most 2047 bytes to the system log at priority LOG_INFO, in every mode and
    // at every level, and to the log file when one is open.
    [[gnu::format(printf, 1, 2)]] void (*LogInfoSyslog)(const char* format, ...);

    // Takes a LogMode. Always returns 0.
    int (*SetLogMode)(int code);

    // Does nothing and returns 0.
    int (*LogNoop)();
};

struct LogContext {
    std::atomic<int32_t> level = kLogNothing;
    std::atomic<uint64_t> maxFileSize = 0; // recorded only: a log file grows without limit
    std::atomic<uint64_t> fileSize = 0;    // size of the file when it was opened
    std::atomic<int32_t> initialised = 0;  // 255 between InitLogContext and LogShutdown
    std::atomic<int32_t> mode = 0;         // recorded only: useSyslog decides
    std::atomic<int32_t> flags = 0;        // recorded only
    std::atomic<int32_t> resetCount = 0;
    std::atomic<int32_t> useSyslog = 0;
    std::atomic<int32_t> fileOpen = 0;
    FILE* stream = nullptr;
    LogOperations operations = {};
    char* outputFileName = nullptr; // kLogPathSize bytes, or null
    char* logName = nullptr;        // the path up to its first ".": kLogNameSize bytes, or null
    char syslogIdent[kLogPathSize] = {};
};

// Opens the log at the level, on the file when path is not null. Later calls change nothing. When
// the file cannot be opened, a line on standard error says so and messages are dropped.
LogContext* InitLogContext(const char* path, int level);

// Returns the log, never null. Before InitLogContext its writers drop everything.
LogContext* GetLogContext();

// Returns "NOTHING" to "EVERYTHING", or "unknown".
const char* LogLevelName(int level);

} // namespace zrp
