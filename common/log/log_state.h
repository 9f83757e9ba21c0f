// What the files of the log share: the lock of its context, the functions in its table of
// operations, and the steps of opening it for a component. Internal to the library.
#pragma once

#include <cstdarg>
#include <ctime>

#include "../uncancelled.h"
#include "log_context.h"

#pragma GCC visibility push(hidden)

namespace zrp {

// Locks the log's context, and restores the caller's errno at the end. A fork waits for the lock,
// so that the child has a log that is between two operations.
class LogLock {
public:
    LogLock();
    ~LogLock();
    LogLock(const LogLock&) = delete;
    LogLock& operator=(const LogLock&) = delete;
    LogContext* operator->() const;
    LogContext& operator*() const;

    // For a format of the caller's, which may hold %m.
    void restore_errno() const;

private:
    int callerErrno_;
    Uncancelled uncancelled_;
};

// log_context.cpp
void set_log_level(int level);

// log_writers.cpp
enum class Entry { kError, kWarning, kInfo, kDebug, kPlain, kAnnouncement, kDump };

// Writes one formatted entry if the level is high enough. tag may be null.
[[gnu::format(printf, 3, 0)]] void write_entry(Entry entry, const char* tag, const char* format,
                                               va_list arguments);
[[gnu::format(printf, 1, 2)]] void log_info_syslog(const char* format, ...);
void log_text_dump(const void* buffer, int length);
void log_binary_dump(const void* buffer, int length);

// Writes a line about the log itself, at every level.
[[gnu::format(printf, 1, 2)]] void log_announcement(const char* format, ...);

// log_file.cpp
int log_open(const char* path);
void log_close();
void log_flush();
int64_t log_size();
int set_log_mode(int code);

// For callers that hold the lock.
int open_log_file(LogContext& log, const char* path);
void close_log_file(LogContext& log);
void leave_system_log(LogContext& log);

// Whether there is a stream. One whose descriptor was closed by others, who may have opened another
// file with its number, is forgotten.
bool has_stream(LogContext& log);

// An entry is written between these two: the first begins it on a line of its own, also after an
// entry that was cut by a full disk.
void begin_entry(LogContext& log);
void end_entry(LogContext& log);

// library_log.cpp
// Returns the log that the component has from now on: log if it is not null, else the log of the
// process, opened on the path at the level, or null when the path is null too.
LogContext* attach_log(LogContext* log, const char* path, int level);

// Sets the level to that of the text, kLogWarning when it is empty, and logs the start.
void start_log(const char* levelText, time_t started);

// start_log with the level of the configuration file. Without a path, or when the file cannot be
// opened for reading and writing, does nothing. Returns the result of GetConfigValue, kOk without a
// file.
int start_log_from_config(const char* configPath, time_t started);

} // namespace zrp

#pragma GCC visibility pop
