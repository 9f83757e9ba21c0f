// Destinations of the log: its file, or the system log.
#include <cstring>
#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "common/config/config_lines.h"
#include "common/log/log_state.h"
#include "common/result.h"

namespace zrp {
namespace {

constexpr int32_t kModeFlag = 1;

// Compatibility: a log file has no permission bits at all.
constexpr mode_t kLogFileMode = 0;

// The file of the log's stream. The log's lock is held.
struct StreamFile {
    dev_t device = 0;
    ino_t inode = 0;
    bool mayEndWithinLine = false; // the last entry could not be written whole
};

constinit StreamFile streamFile;

int64_t seek_to_end(FILE* stream) {
    if (fseeko(stream, 0, SEEK_END) != 0) {
        return 0;
    }
    const off_t end = ftello(stream);
    return end < 0 ? 0 : end;
}

// Refuses a file with another name: whoever put it there may want its mode and content changed.
// A pipe that nobody empties never makes the caller wait.
FILE* open_file(const char* path, struct stat& status) {
    const int file =
        open(path, O_RDWR | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC,
             kLogFileMode);
    if (file < 0) {
        return nullptr;
    }
    FILE* stream = nullptr;
    if (fstat(file, &status) == 0 && !(S_ISREG(status.st_mode) && status.st_nlink > 1)) {
        stream = fdopen(file, "a+");
    }
    if (stream == nullptr) {
        close(file);
    }
    return stream;
}

// Compatibility: a stream that is already open is replaced, not closed.
bool open_stream(LogContext& log, const char* path) {
    struct stat status = {};
    FILE* stream = open_file(path, status);
    if (stream == nullptr) {
        return false;
    }
    if (S_ISREG(status.st_mode)) {
        fchmod(fileno(stream), kLogFileMode);
    }
    streamFile = {.device = status.st_dev, .inode = status.st_ino};
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
    if (log.outputFileName != nullptr) {
        open_stream(log, log.outputFileName); // else the log goes on with the stream that it has
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
    if (log.useSyslog != 0 || !has_stream(log) || ftruncate(fileno(log.stream), 0) != 0) {
        return;
    }
    streamFile.mayEndWithinLine = false;
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
    if (has_stream(log)) {
        fclose(log.stream);
        log.stream = nullptr;
    }
    log.fileOpen = 0;
}

bool has_stream(LogContext& log) {
    if (log.stream == nullptr) {
        return false;
    }
    struct stat status = {};
    if (fstat(fileno(log.stream), &status) == 0 && status.st_dev == streamFile.device &&
        status.st_ino == streamFile.inode) {
        return true;
    }
    // To close the stream would close the descriptor of somebody else.
    log.stream = nullptr;
    log.fileOpen = 0;
    return false;
}

void begin_entry(LogContext& log) {
    if (streamFile.mayEndWithinLine && ends_within_line(fileno(log.stream))) {
        fputc('\n', log.stream);
    }
    streamFile.mayEndWithinLine = false;
}

void end_entry(LogContext& log) {
    if (fflush(log.stream) != 0 || ferror(log.stream) != 0) {
        streamFile.mayEndWithinLine = true;
        __fpurge(log.stream); // or the rest of this entry might follow another one
        clearerr(log.stream);
    }
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
    if (has_stream(*log)) {
        fflush(log->stream);
    }
}

int64_t log_size() {
    LogLock log;
    return has_stream(*log) ? seek_to_end(log->stream) : 0;
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
