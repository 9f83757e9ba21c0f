#include "common/engine/query.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "common/heap_text.h"
#include "common/result.h"
#include "tests/support/scripted_peer.h"

namespace zrp::query_test {
namespace {

std::string traced; // what the hooks below were given

void trace_dump(const char* text, uint64_t length) {
    traced += "[" + std::string(text, length) + "]";
}

__attribute__((format(printf, 1, 2))) void trace_log(const char* format, ...) {
    char line[256];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    traced += line;
}

constexpr RequestHooks kTrace = {trace_dump, trace_log};

constexpr const char* kText = "<request/>";

HeapText request() {
    return HeapText(strdup(kText));
}

int send(const Query& query, Reply* reply) {
    return send_query(query, request(), static_cast<uint32_t>(strlen(kText)), reply);
}

int send(const Peer& peer, Reply* reply, const RequestHooks& hooks = {}) {
    return send(Query{.peer = peer, .hooks = hooks}, reply);
}

TEST(SendQuery, AddressesThePeerWithItsRequestNumber) {
    const Peer peers[] = {kMainDaemon, kStorageDaemon, kStorageDiagnostics, kManagementComponent};
    for (const Peer& peer : peers) {
        ScriptedPeer daemon(peer.socketName, {{read_request(), send_bytes(zrp::reply("<r/>"))}});
        Reply reply;
        EXPECT_EQ(send(peer, &reply), kOk);
        EXPECT_EQ(reply.length, 4);
        EXPECT_EQ(std::string(reply.text.get(), 4), "<r/>");
        const std::string bytes = daemon.requests().at(0);
        uint32_t number = 0;
        memcpy(&number, bytes.data() + offsetof(RequestHeader, requestNumber), sizeof number);
        EXPECT_EQ(number, peer.requestNumber);
        EXPECT_EQ(bytes.substr(sizeof(RequestHeader)), kText);
    }
}

TEST(SendQuery, OnlyTheManagementComponentHasATimeout) {
    EXPECT_EQ(kManagementComponent.timeoutMs, 10000);
    EXPECT_EQ(kMainDaemon.timeoutMs, 0);
    EXPECT_EQ(kStorageDaemon.timeoutMs, 0);
    const ScriptedPeer daemon(kMainDaemonSocket, {{read_request(), hang()}});
    Reply reply;
    EXPECT_EQ(send(Peer{kMainDaemonSocket, kMainDaemonRequest, 50}, &reply), kShortHeader);
}

TEST(SendQuery, ReportsAMissingDocumentByItsBuildersErrno) {
    const std::pair<int, int> codes[] = {
        {EINVAL, kInvalid}, {ENOMEM, kNoMemory}, {0, kNoMemory}, {EINTR, kNoMemory}};
    for (const auto& [reason, code] : codes) {
        traced.clear();
        Reply reply;
        errno = reason;
        EXPECT_EQ(send_query({.hooks = kTrace}, nullptr, 0, &reply), code);
        EXPECT_EQ(traced, "");
        errno = reason;
        EXPECT_EQ(send_query({.hooks = kTrace, .logsNoMemory = true}, nullptr, 0, &reply), code);
        EXPECT_EQ(traced, code == kInvalid ? "" : "failed to allocate request buffer ENOMEM");
    }
}

TEST(SendQuery, NeedsAPlaceForTheReply) {
    EXPECT_EQ(send(kMainDaemon, nullptr), kInvalid);
}

TEST(SendQuery, ChecksTheReplyUnlessToldNotTo) {
    const std::string text =
        "<zrpConsoleReply><result value=\"5\"><description>no</description></result>"
        "</zrpConsoleReply>";
    const ScriptedPeer daemon(kMainDaemonSocket, {{read_request(), send_bytes(zrp::reply(text))}});
    Reply reply;
    ErrorText errorText = "";
    EXPECT_EQ(send(Query{.peer = kMainDaemon, .errorText = &errorText}, &reply), 5);
    EXPECT_STREQ(errorText, "5 no");
    EXPECT_EQ(send(kMainDaemon, &reply), 5);
    EXPECT_EQ(send(Query{.peer = kMainDaemon, .checksReply = false}, &reply), kOk);
    EXPECT_EQ(std::string(reply.text.get(), static_cast<size_t>(reply.length)), text);
    EXPECT_EQ(check_reply(reply, nullptr), 5);
}

TEST(SendQuery, PassesTheTransportsFailureOn) {
    Reply reply;
    EXPECT_EQ(send(kMainDaemon, &reply), ECONNREFUSED);
    EXPECT_EQ(send(kDefaultPeer, &reply), kInvalid);
    EXPECT_EQ(reply.text, nullptr);
    EXPECT_EQ(reply.length, 0);
}

TEST(SendQuery, FreesAReplyWithAStatus) {
    const ScriptedPeer daemon(kManagementSocket,
                              {{read_request(), send_bytes(zrp::reply("<r/>", 5))}});
    Reply reply;
    EXPECT_EQ(send(kManagementComponent, &reply), 5);
    EXPECT_EQ(reply.text, nullptr);
}

TEST(SendQuery, HooksGetRequestAndReply) {
    const ScriptedPeer daemon(kMainDaemonSocket,
                              {{read_request(), send_bytes(zrp::reply("<r/>"))}});
    traced.clear();
    Reply reply;
    EXPECT_EQ(send(kMainDaemon, &reply, kTrace), kOk);
    EXPECT_EQ(traced, "[<request/>][<r/>]");
}

TEST(SendQuery, HooksGetTheFailure) {
    traced.clear();
    Reply reply;
    EXPECT_EQ(send(kMainDaemon, &reply, kTrace), ECONNREFUSED);
    EXPECT_EQ(traced, "[<request/>]IPCServRequest rc=111");
}

TEST(SendQuery, AnOperationNamesItselfInTheFailure) {
    traced.clear();
    Reply reply;
    EXPECT_EQ(send(Query{.peer = kMainDaemon, .hooks = kTrace, .operation = "Ask"}, &reply),
              ECONNREFUSED);
    EXPECT_EQ(traced, "[<request/>]Ask: IPCServRequestEx() rc=111");
}

TEST(SendQuery, AReplyMayStayOutOfTheTrace) {
    const ScriptedPeer daemon(kMainDaemonSocket,
                              {{read_request(), send_bytes(zrp::reply("<r/>"))}});
    traced.clear();
    Reply reply;
    EXPECT_EQ(send(Query{.peer = kMainDaemon, .hooks = kTrace, .dumpsReply = false}, &reply), kOk);
    EXPECT_EQ(traced, "[<request/>]");
}

TEST(SendQuery, EitherHookMayBeMissing) {
    constexpr RequestHooks kNone = {};
    Reply reply;
    EXPECT_EQ(send(kMainDaemon, &reply, kNone), ECONNREFUSED);
}

} // namespace
} // namespace zrp::query_test
