#include "ctl/printing.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <iomanip>
#include <sstream>
#include <unistd.h>

#include "common/genericCode.h"
#include "common/result.h"
#include "ctl/json.h"
#include "ctl/text.h"

namespace zrp::ctl {
namespace {

constexpr size_t kGap = 2;
constexpr const char* kBold = "\x1b[1m";
constexpr const char* kPlain = "\x1b[0m";

bool has_colour() {
    const char* noColour = std::getenv("NO_COLOR");
    return (noColour == nullptr || *noColour == '\0') && isatty(STDOUT_FILENO) != 0;
}

std::vector<size_t> widths_of(const Table& table, bool withHeading) {
    std::vector<size_t> widths(table.columns.size());
    for (size_t i = 0; withHeading && i < widths.size(); i++) {
        widths[i] = display_width(table.columns[i].heading);
    }
    for (const Row& row : table.rows) {
        for (size_t i = 0; i < row.size(); i++) {
            widths[i] = std::max(widths[i], display_width(row[i]));
        }
    }
    return widths;
}

// Numbers are aligned to the right; nothing follows the last text of a line.
void append_line(const Row& cells, const Table& table, const std::vector<size_t>& widths,
                 std::string& out) {
    for (size_t i = 0; i < cells.size(); i++) {
        const size_t padding = widths[i] - display_width(cells[i]);
        const bool isLast = i + 1 == cells.size();
        out.append(table.columns[i].isNumber ? padding : 0, ' ');
        out += cells[i];
        out.append(table.columns[i].isNumber || isLast ? 0 : padding, ' ');
        out.append(isLast ? 0 : kGap, ' ');
    }
    out.erase(out.find_last_not_of(' ') + 1);
    out += '\n';
}

void append_table(const Table& table, bool withHeading, std::string& out) {
    const std::vector<size_t> widths = widths_of(table, withHeading);
    if (withHeading) {
        Row headings;
        for (const Column& column : table.columns) {
            headings.push_back(column.heading);
        }
        const bool bold = has_colour();
        out += bold ? kBold : "";
        append_line(headings, table, widths, out);
        if (bold) {
            out.insert(out.size() - 1, kPlain);
        }
    }
    for (const Row& row : table.rows) {
        append_line(row, table, widths, out);
    }
}

std::string rendered_tables(const Outcome& outcome, bool withHeading) {
    std::string out;
    for (const Table& table : outcome.tables()) {
        out += out.empty() ? "" : "\n";
        append_table(table, withHeading, out);
    }
    return out + outcome.text();
}

// Returns an errno.
int write_all(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = write(fd, text.data(), text.size());
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        text.remove_prefix(count < 0 ? 0 : static_cast<size_t>(count));
    }
    return 0;
}

std::string formatted_time(const char* format, const std::tm& parts) {
    std::ostringstream text;
    text << std::put_time(&parts, format);
    return text.str();
}

} // namespace

void reserve_streams() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; fd++) {
        if (fcntl(fd, F_GETFD) == -1) {
            // Not for writing, so that output fails as it would without the stream.
            (void)open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

std::string rendered(Outcome outcome, const Options& options) {
    if (!options.json) {
        return rendered_tables(outcome, !options.noHeading);
    }
    const std::optional<Failure> failure = outcome.failure;
    auto members = std::move(outcome).members();
    if (failure) {
        members.emplace_back("error", json_text(json_error(*failure)));
    }
    return json_line(members);
}

void write_output(std::string_view text) {
    if (const int error = write_all(STDOUT_FILENO, text); error != 0) {
        throw Failure{Kind::kOutput,
                      std::string("standard output cannot be written: ") + ResultText(error)};
    }
}

void report(const Failure& failure, bool json) {
    print_note("zrpctl: " + visible(sentence(failure)));
    if (json) {
        (void)write_all(STDOUT_FILENO, json_line({{"error", json_text(json_error(failure))}}));
    }
}

void print_note(std::string_view text) {
    std::string line(text);
    if (!line.ends_with('\n')) {
        line += '\n';
    }
    (void)write_all(STDERR_FILENO, line);
}

void print_question(std::string_view text) {
    (void)write_all(STDERR_FILENO, text);
}

std::string shown_document(const std::string& document) {
    if (isatty(STDOUT_FILENO) == 0) {
        return document;
    }
    const std::string text = visible_lines(document);
    return text.ends_with('\n') ? text : text + '\n';
}

std::string size_words(uint64_t bytes) {
    SizeText text;
    cvtSizeToString(bytes, 1, text);
    return text;
}

std::string local_time(int64_t epoch) {
    std::tm parts = {};
    return localtime_r(&epoch, &parts) == nullptr ? ""
                                                  : formatted_time("%Y-%m-%d %H:%M:%S %z", parts);
}

std::string utc_time(int64_t epoch) {
    std::tm parts = {};
    return gmtime_r(&epoch, &parts) == nullptr ? "" : formatted_time("%Y-%m-%dT%H:%M:%SZ", parts);
}

std::string duration_words(uint64_t seconds) {
    constexpr uint64_t kMinute = 60;
    constexpr uint64_t kHour = 60 * kMinute;
    constexpr uint64_t kDay = 24 * kHour;
    char text[64];
    std::snprintf(
        text, sizeof text, "%llud %02u:%02u:%02u", static_cast<unsigned long long>(seconds / kDay),
        static_cast<unsigned>(seconds % kDay / kHour),
        static_cast<unsigned>(seconds % kHour / kMinute), static_cast<unsigned>(seconds % kMinute));
    return text;
}

} // namespace zrp::ctl
