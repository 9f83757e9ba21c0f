#include <cstdarg>
#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "common/heap_text.h"
#include "common/request_hooks.h"
#include "common/requests/connections.h"
#include "common/result.h"
#include "tests/support/exact_block.h"
#include "tests/support/scripted_peer.h"
#include "tests/unit/failing_malloc.h"

namespace zrp::connection_information_test {
namespace {

TEST(BuildConnectionInformationRequest, AsksForOneStation) {
    uint32_t length = 0;
    const HeapText built(BuildConnectionInformationRequest(-1, 1, &length));
    EXPECT_EQ(std::string(built.get(), length),
              "<zrpConsoleRequest pid=\"" + std::to_string(getpid()) +
                  "\"><connectionInformationTag>\n<connectionTag><versionTag>1</versionTag>"
                  "<stationNumberTag>-1</stationNumberTag></connectionTag>\n"
                  "</connectionInformationTag></zrpConsoleRequest>");
}

std::string element(const std::string& tag, const std::string& text) {
    return "<" + tag + ">" + text + "</" + tag + ">";
}

struct Child {
    const char* tag;
    const char* text;
};

constexpr Child kChildren[] = {
    {"stationNumberTag", "41"},
    {"zrpRequests", "12"},
    {"bytesRead", "0x20"},
    {"bytesWritten", "7"},
    {"name", "admin.acme"},
    {"loginTime", "today"},
    {"licensedState", "Yes"},
    {"encrypted", "No"},
    {"mfa", "Enabled"},
    {"loginEpoch", "1776816000"},
    {"networkAddress", "10.1.0.42"},
    {"status", "0x221"},
    {"privileges", "0x2"},
    {"authenticationMethod", "010"},
    {"connectionType", "-2"},
    {"openFilesCount", "3"},
    {"secEqualsCount", "1"},
};

constexpr size_t kOwnChildren = std::size(kChildren) - 2; // all but the counts

std::string own_children(size_t first, size_t last) {
    std::string children;
    for (size_t i = first; i < last; i++) {
        children += element(kChildren[i].tag, kChildren[i].text);
    }
    return children;
}

const std::string kOpenFiles = element("openFiles", "<openFilesCount>3</openFilesCount>"
                                                    "<name>SYS:a</name><name>SYS:b</name>");
const std::string kSecurityEquals =
    element("securityEquals", "<secEqualsCount>1</secEqualsCount><name>everyone</name>");

std::string information_reply(const std::string& children) {
    return "<zrpConsoleReply><connectionInformationTag><connectionTag>" + children +
           "</connectionTag></connectionInformationTag></zrpConsoleReply>";
}

const std::string kSample =
    information_reply(own_children(0, kOwnChildren) + kOpenFiles + kSecurityEquals);

int scan(const std::string& text, ConnectionInformationPtr* record) {
    const ExactBlock copy(text);
    return ScanConnectionInformationReply(copy.begin(), static_cast<int>(text.size()), record);
}

std::vector<std::string> names_of(const NameList& list) {
    std::vector<std::string> names;
    const char* at = list.names;
    for (uint32_t i = 0; i < list.count; i++) {
        names.emplace_back(at);
        at += names.back().size() + 1;
    }
    return names;
}

using Names = std::vector<std::string>;

TEST(ScanConnectionInformationReply, ReadsEveryMember) {
    ConnectionInformationPtr record;
    ASSERT_EQ(scan(kSample, &record), kOk);
    EXPECT_EQ(record->entry.stationNumber, 41);
    EXPECT_EQ(record->entry.zrpRequests, 12U);
    EXPECT_EQ(record->entry.bytesRead, 32U);
    EXPECT_EQ(record->entry.bytesWritten, 7U);
    EXPECT_STREQ(record->entry.name, "admin.acme");
    EXPECT_STREQ(record->entry.loginTime, "today");
    EXPECT_STREQ(record->entry.licensedState, "Yes");
    EXPECT_STREQ(record->entry.encrypted, "No");
    EXPECT_STREQ(record->entry.mfa, "Enabled");
    EXPECT_EQ(record->loginEpoch, 1776816000U);
    EXPECT_STREQ(record->networkAddress, "10.1.0.42");
    EXPECT_EQ(record->status, 0x221U);
    EXPECT_EQ(record->privileges, 2U);
    EXPECT_EQ(record->authenticationMethod, 10);
    EXPECT_EQ(record->connectionType, -2);
    EXPECT_EQ(record->openFilesCount, 3U);
    EXPECT_EQ(record->securityEqualsCount, 1U);
    EXPECT_EQ(names_of(record->openFiles), (Names{"SYS:a", "SYS:b"}));
    EXPECT_EQ(names_of(record->securityEquals), (Names{"everyone"}));
}

TEST(ScanConnectionInformationReply, ReadsTheElementsWhereverTheyStand) {
    const std::string replies[] = {
        information_reply(kSecurityEquals + kOpenFiles + own_children(0, kOwnChildren)),
        information_reply(own_children(0, 3) + kOpenFiles + own_children(3, 8) + kSecurityEquals +
                          own_children(8, kOwnChildren)),
        information_reply(kOpenFiles + element("serverConnInfo", own_children(0, kOwnChildren)) +
                          kSecurityEquals),
        information_reply(own_children(0, std::size(kChildren)) +
                          "<securityEquals><name>everyone</name></securityEquals>"
                          "<openFiles><name>SYS:a</name><name>SYS:b</name></openFiles>"),
    };
    for (const std::string& text : replies) {
        ConnectionInformationPtr record;
        ASSERT_EQ(scan(text, &record), kOk) << text;
        EXPECT_STREQ(record->entry.name, "admin.acme") << text;
        EXPECT_EQ(record->status, 0x221U) << text;
        EXPECT_EQ(record->openFilesCount, 3U) << text;
        EXPECT_EQ(names_of(record->openFiles), (Names{"SYS:a", "SYS:b"})) << text;
        EXPECT_EQ(names_of(record->securityEquals), (Names{"everyone"})) << text;
    }
}

TEST(ScanConnectionInformationReply, WhatAnOpenFileTellsIsNotTheConnections) {
    const std::string file = element("file", "<name>SYS:a</name><status>0</status>");
    ConnectionInformationPtr record;
    ASSERT_EQ(
        scan(information_reply(element("openFiles", "<openFilesCount>1</openFilesCount>" + file) +
                               kSecurityEquals + own_children(0, kOwnChildren)),
             &record),
        kOk);
    EXPECT_STREQ(record->entry.name, "admin.acme");
    EXPECT_EQ(record->status, 0x221U);
    EXPECT_EQ(names_of(record->openFiles), (Names{"SYS:a"}));
}

TEST(ScanConnectionInformationReply, ListsMayBeMissingOrEmpty) {
    for (const char* lists :
         {"", "<openFiles/><securityEquals></securityEquals>", "<openFiles> </openFiles>"}) {
        ConnectionInformationPtr record;
        ASSERT_EQ(scan(information_reply(own_children(0, std::size(kChildren)) + lists), &record),
                  kOk);
        EXPECT_EQ(record->openFilesCount, 3U);
        EXPECT_EQ(record->openFiles.count, 0U);
        EXPECT_EQ(record->openFiles.names, nullptr);
        EXPECT_EQ(record->securityEquals.count, 0U);
    }
}

TEST(ScanConnectionInformationReply, ListsTakeEveryNameWhateverTheCountSays) {
    std::string files = "<openFilesCount>2</openFilesCount><name/>";
    for (int i = 0; i < 5000; i++) {
        files += element("name", std::to_string(i));
    }
    ConnectionInformationPtr record;
    ASSERT_EQ(scan(information_reply(own_children(0, kOwnChildren) + element("openFiles", files) +
                                     kSecurityEquals),
                   &record),
              kOk);
    const Names names = names_of(record->openFiles);
    ASSERT_EQ(names.size(), 5001U);
    EXPECT_EQ(names.front(), "");
    EXPECT_EQ(names.back(), "4999");
    EXPECT_EQ(record->openFilesCount, 2U);
}

TEST(ScanConnectionInformationReply, AnyMissingElementIsInvalidAndLeavesTheRecordAlone) {
    ConnectionInformationPtr record;
    ASSERT_EQ(scan(kSample, &record), kOk);
    const ConnectionInformation* before = record.get();
    for (const Child& child : kChildren) {
        std::string text = kSample;
        const std::string gone = element(child.tag, child.text);
        text.replace(text.find(gone), gone.size(), "");
        EXPECT_EQ(scan(text, &record), kInvalid) << child.tag;
        EXPECT_EQ(record.get(), before) << child.tag;
    }
}

TEST(ScanConnectionInformationReply, AReplyWithoutAConnectionIsInvalid) {
    for (const char* text :
         {"", "<zrpConsoleReply/>", "<zrpConsoleReply><result value=\"-5\"/></zrpConsoleReply>",
          "<zrpConsoleReply><connectionInformationTag/></zrpConsoleReply>",
          "<zrpConsoleReply><connectionInformationTag><connectionTag/>"
          "</connectionInformationTag></zrpConsoleReply>"}) {
        ConnectionInformationPtr record;
        EXPECT_EQ(scan(text, &record), kInvalid) << text;
    }
    ConnectionInformationPtr record;
    EXPECT_EQ(ScanConnectionInformationReply(nullptr, 0, &record), kInvalid);
}

TEST(ScanConnectionInformationReply, OverlongTextsAreCutToTheirMembers) {
    std::string text = kSample;
    const std::string address = "10.1.0.42";
    text.replace(text.find(address), address.size(), std::string(126, 'x') + "\u00fc\u00fc");
    ConnectionInformationPtr record;
    ASSERT_EQ(scan(text, &record), kOk);
    EXPECT_EQ(record->networkAddress, std::string(126, 'x'));
}

TEST(ScanConnectionInformationReply, ReadsNothingBehindATruncatedReply) {
    const std::string text = information_reply(
        element("openFiles", "<openFilesCount>1</openFilesCount><name><![CDATA[SYS:<a>]]></name>"
                             "<![CDATA[<name>]]>") +
        own_children(0, kOwnChildren) + kSecurityEquals);
    scan_every_prefix(text, [&](char* reply, int length) {
        ConnectionInformationPtr record;
        const int rc = ScanConnectionInformationReply(reply, length, &record);
        ASSERT_EQ(rc == kOk, record != nullptr);
        ASSERT_EQ(rc, static_cast<size_t>(length) == text.size() ? kOk : kInvalid) << length;
    });
}

// A reply in which every tag is closed, but the connection holds only its beginning.
TEST(ScanConnectionInformationReply, ReadsNothingBehindAConnectionThatIsCutShort) {
    const std::string children = kOpenFiles + own_children(0, kOwnChildren) + kSecurityEquals;
    const size_t lastCount = children.find("</secEqualsCount>") + strlen("</secEqualsCount>");
    for (size_t length = 0; length < children.size(); length++) {
        ConnectionInformationPtr record;
        const int rc = scan(information_reply(children.substr(0, length)), &record);
        ASSERT_TRUE(rc == kInvalid || length >= lastCount) << length;
        ASSERT_EQ(rc == kOk, record != nullptr) << length;
    }
}

Names dumped;
std::string logged;

void note_dump(const char* text, uint64_t length) {
    dumped.emplace_back(text, length);
}

__attribute__((format(printf, 1, 2))) void note_log(const char* format, ...) {
    char line[64];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    logged += line;
}

class ConnectionQuery : public testing::Test {
protected:
    ConnectionQuery() {
        IPCServInit(kMainDaemonSocket);
        dumped.clear();
        logged.clear();
    }
    ~ConnectionQuery() override {
        traceHooks = {};
        IPCServTerm();
    }

    int query(const std::string& bytes) {
        const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(bytes)}});
        const int rc = GetConnectionInformation(41, &version, &record);
        request = peer.requests().at(0).substr(sizeof(RequestHeader));
        return rc;
    }

    int version = 1;
    ConnectionInformationPtr record;
    std::string request;
};

TEST_F(ConnectionQuery, AsksTheDefaultPeerForTheStation) {
    EXPECT_EQ(query(reply(kSample)), kOk);
    ASSERT_NE(record, nullptr);
    EXPECT_STREQ(record->entry.name, "admin.acme");
    uint32_t length = 0;
    const HeapText built(BuildConnectionInformationRequest(41, 1, &length));
    EXPECT_EQ(request, std::string(built.get(), length));
    EXPECT_EQ(version, 1) << "the reply names none";
}

TEST_F(ConnectionQuery, TellsTheVersionOfTheReply) {
    const std::string sample =
        information_reply("<versionTag>3</versionTag>" + own_children(0, kOwnChildren) +
                          kOpenFiles + kSecurityEquals);
    EXPECT_EQ(query(reply(sample)), kOk);
    EXPECT_EQ(version, 3);
    EXPECT_STREQ(record->entry.name, "admin.acme");
}

TEST_F(ConnectionQuery, AFailureLeavesVersionAndRecordAlone) {
    EXPECT_EQ(query(reply("<zrpConsoleReply><connectionInformationTag><connectionTag>"
                          "<versionTag>3</versionTag></connectionTag>"
                          "</connectionInformationTag></zrpConsoleReply>")),
              kInvalid);
    EXPECT_EQ(query(reply("<zrpConsoleReply><result value=\"-5\"/></zrpConsoleReply>")), kInvalid)
        << "a reported error is no error of its own";
    EXPECT_EQ(query(reply("", 5)), 5);
    EXPECT_EQ(query("short"), kShortHeader);
    EXPECT_EQ(version, 1);
    EXPECT_EQ(record, nullptr);
}

TEST_F(ConnectionQuery, WithoutMemoryForTheRequestNobodyIsAsked) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply(kSample))}});
    const FailingMalloc failing(512);
    EXPECT_EQ(GetConnectionInformation(41, &version, &record), kRequestNotBuilt);
    EXPECT_EQ(peer.connections(), 0U);
}

TEST_F(ConnectionQuery, RequestAndReplyGoToTheTraceHooks) {
    EXPECT_EQ(query(reply(kSample)), kOk);
    EXPECT_EQ(dumped, Names());
    traceHooks = {.dump = note_dump, .log = note_log};
    EXPECT_EQ(query(reply(kSample)), kOk);
    EXPECT_EQ(dumped, (Names{request, kSample}));
    EXPECT_EQ(logged, "");
}

TEST_F(ConnectionQuery, OnlyTheRequestOfAFailedExchangeGoesToTheTraceHooks) {
    traceHooks = {.dump = note_dump, .log = note_log};
    EXPECT_EQ(query(reply("", 5)), 5);
    EXPECT_EQ(dumped, (Names{request}));
    EXPECT_EQ(logged, "IPCServRequest rc=5");
}

} // namespace
} // namespace zrp::connection_information_test
