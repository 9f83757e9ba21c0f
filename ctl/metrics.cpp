// The figures of the server for Prometheus, as zrp-exporter offers them.
#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
#include <unistd.h>

#include "common/client/session.h"
#include "common/result.h"
#include "ctl/command.h"
#include "ctl/interrupt.h"
#include "ctl/printing.h"
#include "ctl/text.h"
#include "exporter/collector.h"
#include "exporter/textfile.h"

namespace zrp::ctl {
namespace {

constexpr const char* kTextfile = "--textfile";

// What is wrong with the disk and not with the path.
constexpr std::array kDiskErrors = {ENOSPC, EDQUOT, EFBIG, EIO};

[[noreturn]] void fail_textfile(const std::string& path, int error) {
    const bool isDisk =
        std::find(kDiskErrors.begin(), kDiskErrors.end(), error) != kDiskErrors.end();
    throw Failure{isDisk ? Kind::kOutput : Kind::kUsage,
                  std::string(kTextfile) + " \"" + path +
                      "\" cannot be written: " + ResultText(error)};
}

// Before the server is asked.
void check_folder(const std::string& path) {
    const size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    if (access(folder.c_str(), W_OK | X_OK) != 0) {
        fail_textfile(path, errno);
    }
}

// A daemon that is down is no failure, and nothing for cron to send a mail about: zrp_up says it.
std::string collect(const Session& session) {
    const client::Session library;
    if (library.Code() != kOk) {
        throw std::bad_alloc();
    }
    exporter::Collector collector({.timeout = session.left()}, [&](const std::string& line) {
        if (session.options().verbose) {
            print_note("zrpctl: " + visible(line));
        }
    });
    std::string text = collector.Collect();
    if (was_interrupted()) {
        throw Failure{Kind::kInterrupted, "interrupted"};
    }
    return text;
}

Outcome show_metrics(Session& session, const Arguments& arguments) {
    Outcome outcome(session.options().json);
    if (!arguments.has(kTextfile)) {
        const std::string text = collect(session);
        outcome.set("metrics", text);
        outcome.add_text(visible_lines(text));
        return outcome;
    }
    const std::string& path = arguments.text(kTextfile);
    check_folder(path);
    if (const int error = exporter::WriteTextfile(path, collect(session)); error != 0) {
        fail_textfile(path, error);
    }
    outcome.set("done", true);
    return outcome;
}

constexpr Argument kMetricsArguments[] = {
    {kTextfile, ArgumentKind::kFile, Count::kOptional, "replace this file instead of printing"},
};

constexpr Command kMetricsCommands[] = {
    {"metrics", "Server", "Show all figures in the text format of Prometheus", Effect::kReadOnly,
     kMetricsArguments, "zrpctl metrics | grep zrp_up", show_metrics},
};

} // namespace

std::span<const Command> metrics_commands() {
    return kMetricsCommands;
}

} // namespace zrp::ctl
