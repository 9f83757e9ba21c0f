#include "ctl/session.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <mutex>
#include <string_view>
#include <utility>

#include "common/exchange_limits.h"
#include "common/strict_exchange.h"
#include "common/tags.h"
#include "common/transport.h"
#include "ctl/failure.h"
#include "ctl/printing.h"
#include "ctl/text.h"

namespace zrp::ctl {
namespace {

// As the user gives it: "10 s", "0.25 s".
std::string seconds(milliseconds time) {
    char text[32];
    std::snprintf(text, sizeof text, "%g s", static_cast<double>(time.count()) / 1000.0);
    return text;
}

void show_document(const char* mark, const Daemon& daemon, std::string_view document) {
    static std::mutex turn; // of several threads
    const std::lock_guard lock(turn);
    print_note(std::string(mark) + ' ' + daemon.name + " daemon:\n" + visible_lines(document));
}

struct EndRow {
    ExchangeEnd end;
    Kind kind;
    const char* message; // null for the text of the code
};

constexpr EndRow kEnds[] = {
    {ExchangeEnd::kNotConnected, Kind::kUnreachable, nullptr},
    {ExchangeEnd::kInterrupted, Kind::kInterrupted, "interrupted"},
    {ExchangeEnd::kBroken, Kind::kReply, nullptr},
    {ExchangeEnd::kNoMemory, Kind::kOutput, "out of memory"},
    {ExchangeEnd::kRefused, Kind::kUsage, "no request to send"},
};

// A reply with a status of its own may hold the reason as well.
[[noreturn]] void fail_status(StrictReply reply, const Daemon& daemon) {
    if (reply.reply.length > 0) {
        try {
            check_refusal(read_document(std::move(reply.reply), daemon.name), daemon.name);
        } catch (const Failure& failure) {
            if (failure.kind == Kind::kRefused) {
                throw Failure{Kind::kRefused, failure.message, daemon.name,
                              static_cast<uint32_t>(reply.code)};
            }
        }
    }
    throw Failure{Kind::kRefused, "the request was refused", daemon.name,
                  static_cast<uint32_t>(reply.code)};
}

} // namespace

const Daemon kServer = {"server", kMainDaemonSocket, kMainDaemonRequest, tag::zrpConsoleReply};
const Daemon kStorage = {"storage", kStorageDaemonSocket, kStorageDaemonRequest,
                         command::zrp2bks_reply};
const Daemon kStorageCounters = {"storage", kStorageDaemonSocket, kStorageDiagnosticRequest,
                                 diagnostic::zrp2bksDiagnosticReply};
const Daemon kManagement = {"management", kManagementSocket, kManagementRequest,
                            tag::libomw2zrpReplyTag};

Session::Session(const Options& options)
    : options_(options), end_(Clock::now() + options.timeout) {}

milliseconds Session::left() const {
    return std::chrono::ceil<milliseconds>(end_ - Clock::now());
}

Answer Session::ask(const Daemon& daemon, const Request& request, std::string* raw) const {
    const std::string late = "no answer within " + seconds(options_.timeout);
    if (options_.verbose) {
        show_document(">", daemon, request.document);
    }
    const Clock::time_point start = Clock::now();
    if (left() <= milliseconds{0}) {
        throw Failure{Kind::kTimeout, late, daemon.name};
    }
    const ExchangeLimitsGuard limits({.totalMs = static_cast<int32_t>(left().count())});
    StrictReply reply = ExchangeStrictly(daemon.socketName, daemon.requestNumber, request.length,
                                         request.bytes.get());
    Answer answer;
    answer.took = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
    answer.process = reply.peerProcess;
    answer.user = reply.peerUser;
    if (options_.verbose && reply.reply.length > 0) {
        show_document("<", daemon,
                      {reply.reply.text.get(), static_cast<size_t>(reply.reply.length)});
    }
    if (reply.end == ExchangeEnd::kTimedOut) {
        throw Failure{Kind::kTimeout, late, daemon.name};
    }
    if (reply.end == ExchangeEnd::kStatus) {
        fail_status(std::move(reply), daemon);
    }
    for (const EndRow& row : kEnds) {
        if (row.end == reply.end) {
            throw Failure{row.kind, row.message != nullptr ? row.message : ResultText(reply.code),
                          daemon.name};
        }
    }
    if (raw != nullptr) {
        raw->assign(reply.reply.text.get(), static_cast<size_t>(reply.reply.length));
    }
    answer.document = read_document(std::move(reply.reply), daemon.name);
    check_refusal(answer.document, daemon.name);
    answer.envelope = answer.document.tree->child(daemon.envelope);
    if (!answer.envelope) {
        fail_reply("the reply is none to this request", daemon);
    }
    return answer;
}

Answer Session::change(const Daemon& daemon, const Request& request, std::string* raw) {
    if (options_.dryRun) {
        throw DryRun{daemon.name, request.document};
    }
    hasChanged_ = true;
    return ask(daemon, request, raw);
}

Node command_of(const Answer& answer, const Daemon& daemon, const char* tag) {
    const Node command = find_inside(answer.envelope, tag);
    if (!command) {
        fail_reply("the reply is none to this request", daemon);
    }
    return command;
}

void fail_reply(const std::string& message, const Daemon& daemon) {
    throw Failure{Kind::kReply, message, daemon.name};
}

void fail_request(int error) {
    throw Failure{Kind::kUsage, error == EINVAL ? "an argument holds what no request may hold"
                                                : "an argument is too long for a request"};
}

} // namespace zrp::ctl
