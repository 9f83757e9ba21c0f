#include "common/log/log_context.h"

#include <cerrno>
#include <cstdlib>
#include <iterator>
#include <mutex>
#include <pthread.h>

#include "common/log/log_state.h"

namespace zrp {
namespace {

constexpr int32_t kInitialised = 255;
constexpr int32_t kInitialFlags = 2;

constexpr const char* kLevelNames[] = {"NOTHING", "ERROR", "WARNING",   "INFO",
                                       "DEBUG",   "DUMP",  "EVERYTHING"};
static_assert(std::size(kLevelNames) == kLogEverything + 1);

template <Entry entry>
[[gnu::format(printf, 1, 2)]] void log_entry(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    write_entry(entry, nullptr, format, arguments);
    va_end(arguments);
}

template <Entry entry>
[[gnu::format(printf, 2, 3)]] void log_tagged_entry(const char* tag, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    write_entry(entry, tag, format, arguments);
    va_end(arguments);
}

int log_level_up() {
    LogLock log;
    return log->level < kLogEverything ? ++log->level : log->level.load();
}

int log_level_down() {
    LogLock log;
    return log->level > kLogNothing ? --log->level : log->level.load();
}

int log_noop() {
    return 0;
}

void release(char*& text) {
    free(text);
    text = nullptr;
}

void log_shutdown() {
    LogLock log;
    close_log_file(*log);
    leave_system_log(*log);
    release(log->outputFileName);
    release(log->logName);
    log->initialised = 0;
}

// Constant-initialised: any thread may read the table without a lock, even before main().
constinit LogContext processContext = {
    .operations =
        {
            .LogDebug = log_entry<Entry::kDebug>,
            .LogDebugTag = log_tagged_entry<Entry::kDebug>,
            .LogInfo = log_entry<Entry::kInfo>,
            .LogInfoTag = log_tagged_entry<Entry::kInfo>,
            .LogWarning = log_entry<Entry::kWarning>,
            .LogWarningTag = log_tagged_entry<Entry::kWarning>,
            .LogError = log_entry<Entry::kError>,
            .LogErrorTag = log_tagged_entry<Entry::kError>,
            .SetLogLevel = set_log_level,
            .LogLevelUp = log_level_up,
            .LogLevelDown = log_level_down,
            .LogOpen = log_open,
            .LogClose = log_close,
            .LogFlush = log_flush,
            .LogSize = log_size,
            .LogShutdown = log_shutdown,
            .LogDump = log_entry<Entry::kDump>,
            .LogLDump = log_text_dump,
            .LogBDump = log_binary_dump,
            .LogPlain = log_entry<Entry::kPlain>,
            .LogInfoSyslog = log_info_syslog,
            .SetLogMode = set_log_mode,
            .LogNoop = log_noop,
        },
};

constinit std::mutex contextLock;

// Nor does the child inherit a lock of the C library that another thread held for the log: those of
// the system log and of the time zone would never be released there.
[[maybe_unused]] const int isForkPrepared = pthread_atfork(
    [] { contextLock.lock(); }, [] { contextLock.unlock(); }, [] { contextLock.unlock(); });

// The names are null and the stream is closed here: LogShutdown has released them.
void reset_context(LogContext& log, int level) {
    log.level = level;
    log.maxFileSize = 0;
    log.fileSize = 0;
    log.initialised = kInitialised;
    log.mode = kLogModeDefault;
    log.flags = kInitialFlags;
    log.resetCount = 0;
    log.useSyslog = 0;
    log.fileOpen = 0;
    log.stream = nullptr;
    log.syslogIdent[0] = '\0';
}

char* allocate_text(size_t size) {
    return static_cast<char*>(calloc(size, 1));
}

} // namespace

LogLock::LogLock() : callerErrno_(errno) {
    contextLock.lock();
}

LogLock::~LogLock() {
    contextLock.unlock();
    restore_errno();
}

void LogLock::restore_errno() const {
    errno = callerErrno_;
}

LogContext* LogLock::operator->() const {
    return &processContext;
}

LogContext& LogLock::operator*() const {
    return processContext;
}

void set_log_level(int level) {
    LogLock log;
    log->level = level;
}

LogContext* InitLogContext(const char* path, int level) {
    LogLock log;
    if (log->initialised != 0) {
        return &processContext;
    }
    reset_context(*log, level);
    log->logName = allocate_text(kLogNameSize);
    if (log->logName == nullptr) {
        fputs("logname == NULL", stderr);
        fflush(stderr);
    }
    log->maxFileSize = kLogMaxFileSize;
    log->outputFileName = allocate_text(kLogPathSize);
    if (log->outputFileName == nullptr) {
        fputs("f_output_filename == NULL", stderr);
    } else if (path != nullptr) {
        open_log_file(*log, path);
    }
    return &processContext;
}

LogContext* GetLogContext() {
    return &processContext;
}

const char* LogLevelName(int level) {
    return level >= kLogNothing && level <= kLogEverything ? kLevelNames[level] : "unknown";
}

} // namespace zrp
