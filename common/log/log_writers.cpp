// Writers of the log: messages and dumps.
#include <algorithm>
#include <climits>
#include <cstring>
#include <ctime>
#include <syslog.h>

#include "common/log/log_state.h"

namespace zrp {
namespace {

constexpr size_t kSystemMessageSize = 2048;
constexpr int kDumpBytesPerLine = 16;
constexpr int32_t kAlways = INT_MIN;

// The form of an entry in the file: "[mark time] ", opening, text, closing.
struct EntryShape {
    int32_t level;
    char mark;
    const char* opening = "";
    const char* closing = "\n";
};

// Indexed by Entry.
constexpr EntryShape kShapes[] = {
    {kLogError, '!'},
    {kLogWarning, 'W'},
    {kLogInfo, 'i'},
    {kLogDebug, 'D'},
    {kAlways, '-'},
    {kAlways, 'L'},
    {kLogDump, '*', "<dump>\n", "\n</dump>\n"},
};

const EntryShape& shape_of(Entry entry) {
    return kShapes[static_cast<size_t>(entry)];
}

bool is_enabled(Entry entry) {
    return GetLogContext()->level >= shape_of(entry).level;
}

void put_prefix(LogContext& log, Entry entry) {
    begin_entry(log);
    const time_t now = time(nullptr);
    tm local = {};
    localtime_r(&now, &local);
    char text[128];
    strftime(text, sizeof text, "%F %T", &local);
    fprintf(log.stream, "[%c %s] ", shape_of(entry).mark, text);
}

void put_end(LogContext& log, const char* closing) {
    fputs(closing, log.stream);
    end_entry(log);
}

// Compatibility: the formatted text is used as a format once more, which turns "%%" into "%". Other
// conversions would need arguments and are written as they are.
void put_as_format(FILE* stream, const char* text) {
    for (; *text != '\0'; text++) {
        if (text[0] == '%' && text[1] == '%') {
            text++;
        }
        fputc(*text, stream);
    }
}

// Each line begins with the offset of its first byte. A last full line is followed by one that
// holds only its offset.
void put_hexadecimal(FILE* stream, const unsigned char* bytes, int length) {
    fprintf(stream, "[%08d]  ", 0);
    for (int i = 0; i < length; i++) {
        fprintf(stream, "%02x ", bytes[i]);
        if (i % kDumpBytesPerLine == kDumpBytesPerLine - 1) {
            fprintf(stream, "\n[%08d]  ", i + 1);
        }
    }
}

} // namespace

void write_entry(Entry entry, const char* tag, const char* format, va_list arguments) {
    if (!is_enabled(entry)) {
        return;
    }
    LogLock log;
    if (log->useSyslog != 0) {
        log.restore_errno();
        vsyslog(LOG_DEBUG, format, arguments);
        return;
    }
    if (!has_stream(*log)) {
        return;
    }
    put_prefix(*log, entry);
    fputs(shape_of(entry).opening, log->stream);
    if (tag != nullptr) {
        fprintf(log->stream, "%s: ", tag);
    }
    log.restore_errno();
    vfprintf(log->stream, format, arguments);
    put_end(*log, shape_of(entry).closing);
}

void log_announcement(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    write_entry(Entry::kAnnouncement, nullptr, format, arguments);
    va_end(arguments);
}

void log_info_syslog(const char* format, ...) {
    LogLock log;
    char text[kSystemMessageSize] = "";
    va_list arguments;
    va_start(arguments, format);
    log.restore_errno();
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    syslog(LOG_INFO, "[Info]%s", text);
    if (has_stream(*log)) {
        put_prefix(*log, Entry::kPlain);
        put_as_format(log->stream, text);
        put_end(*log, "\n");
    }
}

void log_text_dump(const void* buffer, int length) {
    if (!is_enabled(Entry::kDump)) {
        return;
    }
    const int count = buffer != nullptr ? std::max(length, 0) : 0;
    const char* bytes = count > 0 ? static_cast<const char*>(buffer) : "";
    LogLock log;
    if (log->useSyslog != 0) {
        syslog(LOG_DEBUG, "%.*s", count, bytes);
        return;
    }
    if (!has_stream(*log)) {
        return;
    }
    put_prefix(*log, Entry::kDump);
    fprintf(log->stream, "<ldump len=\"%d\">\n", length);
    fwrite(bytes, 1, static_cast<size_t>(count), log->stream);
    put_end(*log, "\n</ldump>\n");
}

void log_binary_dump(const void* buffer, int length) {
    if (!is_enabled(Entry::kDump) || buffer == nullptr || length == 0) {
        return;
    }
    LogLock log;
    if (log->useSyslog != 0 || !has_stream(*log)) {
        return;
    }
    put_prefix(*log, Entry::kDump);
    fprintf(log->stream, "\n<bdump len=\"%d\">\n", length);
    put_hexadecimal(log->stream, static_cast<const unsigned char*>(buffer), length);
    put_end(*log, "\n</bdump>\n");
}

} // namespace zrp
