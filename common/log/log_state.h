// Inside of the log: the lock around its context and the operations behind the table. Only the
// files of this folder include this header.
#pragma once

#include <cstdarg>

#include "log_context.h"

#pragma GCC visibility push(hidden)

namespace zrp {

// Exclusive use of the log's context. Leaves the caller's errno as it was.
class LogLock {
public:
    LogLock();
    ~LogLock();
    LogLock(const LogLock&) = delete;
    LogLock& operator=(const LogLock&) = delete;
    LogContext* operator->() const;
    LogContext& operator*() const;

private:
    int callerErrno;
};

// log_context.cpp
void set_log_level(int level);

// log_writers.cpp
enum class Entry { kError, kWarning, kInfo, kDebug, kPlain, kAnnouncement, kDump };

// Writes one formatted entry when the level reaches it. A null tag is no tag.
[[gnu::format(printf, 3, 0)]] void write_entry(Entry entry, const char* tag, const char* format,
                                               va_list arguments);
[[gnu::format(printf, 1, 2)]] void log_info_syslog(const char* format, ...);
void log_text_dump(const void* buffer, int length);
void log_binary_dump(const void* buffer, int length);

// A line about the log itself, at every level.
[[gnu::format(printf, 1, 2)]] void log_announcement(const char* format, ...);

// log_file.cpp
int log_open(const char* path);
void log_close();
void log_flush();
int64_t log_size();
int set_log_mode(int code);

// The same with the lock held.
int open_log_file(LogContext& log, const char* path);
void close_log_file(LogContext& log);
void leave_system_log(LogContext& log);

} // namespace zrp

#pragma GCC visibility pop
