// Destinations of the log: its file, or the system log.
#include <cstring>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "common/log/log_state.h"
#include "common/result.h"

namespace zrp {
namespace {

constexpr int32_t kModeFlag = 1;

int64_t seek_to_end(FILE* stream) {
    if (fseeko(stream, 0, SEEK_END) != 0) {
        return 0;
    }
    const off_t end = ftello(stream);
    return end < 0 ? 0 : end;
}

// Compatibility: a stream that is already open is replaced, not closed.
bool open_stream(LogContext& log, const char* path) {
    FILE* stream = fopen(path, "a+e");
    if (stream == nullptr) {
        return false;
    }
    // Compatibility: a log file has no permission bits at all.
    fchmod(fileno(stream), 0);
    log.stream = stream;
    log.fileOpen = 1;
    log.fileSize = static_cast<uint64_t>(seek_to_end(stream));
    return true;
}

// Compatibility: the name ends at the first "." anywhere in the path, directories included.
void keep_path(LogContext& log, const char* path) {
    if (path != log.outputFileName) {
        snprintf(log.outputFileName, kLogPathSize, "%s", path);
    }
    if (log.logName != nullptr) {
        const int length = static_cast<int>(strcspn(path, "."));
        snprintf(log.logName, kLogNameSize, "%.*s", length, path);
    }
}

void use_file(LogContext& log, int code) {
    log.mode = code;
    leave_system_log(log);
    // Nobody might find what is written to the old stream: its file may have been removed.
    if (log.outputFileName != nullptr && !open_stream(log, log.outputFileName)) {
        close_log_file(log);
    }
}

void use_system_log(LogContext& log) {
    close_log_file(log);
    leave_system_log(log); // the C library points to the identity while the log is open
    snprintf(log.syslogIdent, sizeof log.syslogIdent, "[%s]",
             log.logName != nullptr ? log.logName : "");
    openlog(log.syslogIdent, LOG_PID, LOG_USER);
    log.useSyslog = 1;
    log.mode = kLogModeSyslog;
}

void empty_file(LogContext& log) {
    if (log.useSyslog != 0 || log.stream == nullptr || ftruncate(fileno(log.stream), 0) != 0) {
        return;
    }
    log.fileSize = 0;
    log.resetCount++;
}

} // namespace

int open_log_file(LogContext& log, const char* path) {
    if (log.outputFileName == nullptr) {
        fputs("*f_output_filename == NULL\n", stderr);
        return kNoMemory;
    }
    if (path == nullptr) {
        path = log.outputFileName;
        if (*path == '\0') {
            fputs("filename == NULL\n", stderr);
            return kInvalid;
        }
    }
    // A truncated path would name another file when it is opened again.
    if (strnlen(path, kLogPathSize) == kLogPathSize) {
        return kTooLong;
    }
    if (!open_stream(log, path)) {
        fprintf(stderr, "f_open(%s) == NULL\n", path);
        return kNotFound;
    }
    keep_path(log, path);
    return kOk;
}

void close_log_file(LogContext& log) {
    if (log.stream != nullptr) {
        fclose(log.stream);
        log.stream = nullptr;
    }
    log.fileOpen = 0;
}

void leave_system_log(LogContext& log) {
    if (log.useSyslog != 0) {
        closelog();
        log.useSyslog = 0;
    }
}

int log_open(const char* path) {
    LogLock log;
    return open_log_file(*log, path);
}

void log_close() {
    LogLock log;
    close_log_file(*log);
}

void log_flush() {
    LogLock log;
    if (log->stream != nullptr) {
        fflush(log->stream);
    }
}

int64_t log_size() {
    LogLock log;
    return log->stream != nullptr ? seek_to_end(log->stream) : 0;
}

int set_log_mode(int code) {
    LogLock log;
    switch (code) {
    case kLogModeSyslog:
        use_system_log(*log);
        break;
    case kLogModeClearFlag:
        log->flags &= ~kModeFlag;
        break;
    case kLogModeSetFlag:
        log->flags |= kModeFlag;
        break;
    case kLogModeReset:
        empty_file(*log);
        break;
    default:
        if (code == kLogModeDefault || code > kLogModeReset) {
            use_file(*log, code);
        }
    }
    return kOk;
}

} // namespace zrp
