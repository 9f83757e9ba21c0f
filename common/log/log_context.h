// Log of the process: levelled messages and dumps, to a file or to the system log.
//
// There is one LogContext. InitLogContext opens it, GetLogContext finds it, and everything goes
// through its table of operations. A component that may run without a log keeps a LogContext
// pointer that may be null.
//
// Any thread may call any operation at any time: one lock inside the log makes each of them whole,
// so that a message never stands in the middle of another one. A message that its level suppresses
// takes no lock. The table is complete before main() and is never written again. The numbers of the
// context are atomic and may be read from any thread; `stream` and the three texts belong to the
// log. No operation changes errno, and none may be called from a signal handler.
//
// Writers report nothing: without an open file, and outside the system log, a message is dropped.
// A format is a printf format; texts from elsewhere belong behind "%s".
#pragma once

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

// Codes of SetLogMode. Those that are not listed do nothing, except that every code above
// kLogModeReset acts like kLogModeDefault.
enum LogMode : int {
    kLogModeDefault = 0,   // leave the system log and open the log file again, or have none
    kLogModeBackup = 1,    // accepted, does nothing
    kLogModeTruncate = 2,  // accepted, does nothing
    kLogModeSyslog = 3,    // close the file; everything goes to the system log
    kLogModeClearFlag = 4, // clear bit 0 of flags
    kLogModeSetFlag = 5,   // set bit 0 of flags
    kLogModeReset = 8,     // empty the open file
};

inline constexpr uint64_t kLogMaxFileSize = 16777216;
inline constexpr size_t kLogPathSize = 271; // with its terminator
inline constexpr size_t kLogNameSize = 255; // with its terminator

struct LogOperations {
    // A message of one line, written when the level is at least the operation's own; the Tag form
    // puts "tag: " before it. The system log gets every message at priority LOG_DEBUG and without
    // the tag.
    [[gnu::format(printf, 1, 2)]] void (*LogDebug)(const char* format, ...);
    [[gnu::format(printf, 2, 3)]] void (*LogDebugTag)(const char* tag, const char* format, ...);
    [[gnu::format(printf, 1, 2)]] void (*LogInfo)(const char* format, ...);
    [[gnu::format(printf, 2, 3)]] void (*LogInfoTag)(const char* tag, const char* format, ...);
    [[gnu::format(printf, 1, 2)]] void (*LogWarning)(const char* format, ...);
    [[gnu::format(printf, 2, 3)]] void (*LogWarningTag)(const char* tag, const char* format, ...);
    [[gnu::format(printf, 1, 2)]] void (*LogError)(const char* format, ...);
    [[gnu::format(printf, 2, 3)]] void (*LogErrorTag)(const char* tag, const char* format, ...);

    // Any number is accepted; above kLogEverything everything is written.
    void (*SetLogLevel)(int level);

    // One step; both return the level in force. Up ends at 6, down at 0.
    int (*LogLevelUp)();
    int (*LogLevelDown)();

    // Opens the file for appending and takes ALL access rights from it: nobody but root reads a
    // log, or opens it a second time, without a chmod. A null path means the stored one. A stream
    // that was open before is replaced, not closed.
    // Returns 0; 2 when the file cannot be opened, 12 when the log has no memory for a path, 22
    // without any path, each with a line on standard error; 75 for a path of kLogPathSize or more
    // characters, and then no file is touched.
    int (*LogOpen)(const char* path);
    void (*LogClose)();
    void (*LogFlush)();

    // Size of the open file in bytes, 0 without one.
    int64_t (*LogSize)();

    // Closes the file or the system log and frees the names; InitLogContext may then run again.
    void (*LogShutdown)();

    // Blocks for levels above kLogDebug: a formatted text, the bytes as they are, and the bytes in
    // hexadecimal (which never goes to the system log). A negative length counts as no bytes.
    [[gnu::format(printf, 1, 2)]] void (*LogDump)(const char* format, ...);
    void (*LogLDump)(const void* buffer, int length);
    void (*LogBDump)(const void* buffer, int length);

    // A message at every level.
    [[gnu::format(printf, 1, 2)]] void (*LogPlain)(const char* format, ...);

    // A message of at most 2047 bytes to the system log at priority LOG_INFO, in every mode and at
    // every level, and to the log file when one is open.
    [[gnu::format(printf, 1, 2)]] void (*LogInfoSyslog)(const char* format, ...);

    // Takes a LogMode. Returns 0, always.
    int (*SetLogMode)(int code);

    // Returns 0.
    int (*LogNoop)();
};

struct LogContext {
    std::atomic<int32_t> level = kLogNothing;
    std::atomic<uint64_t> maxFileSize = 0; // recorded; a log file grows without limit
    std::atomic<uint64_t> fileSize = 0;    // offset of the file's end when it was opened
    std::atomic<int32_t> initialised = 0;  // 255 between InitLogContext and LogShutdown
    std::atomic<int32_t> mode = 0;         // recorded; useSyslog is what counts
    std::atomic<int32_t> flags = 0;        // recorded
    std::atomic<int32_t> resetCount = 0;
    std::atomic<int32_t> useSyslog = 0;
    std::atomic<int32_t> fileOpen = 0;
    FILE* stream = nullptr;
    LogOperations operations = {};
    char* outputFileName = nullptr; // kLogPathSize bytes, or null
    char* logName = nullptr;        // kLogNameSize bytes, or null: the path before its first "."
    char syslogIdent[kLogPathSize] = {};
};

// Opens the log at the level, with the file when path is not null. Later calls change nothing. A
// file that cannot be opened is told on standard error; the log then drops what it is given.
LogContext* InitLogContext(const char* path, int level);

// Never null. Before InitLogContext its writers drop everything.
LogContext* GetLogContext();

// "NOTHING" to "EVERYTHING", or "unknown". A literal.
const char* LogLevelName(int level);

} // namespace zrp
