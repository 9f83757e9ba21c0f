// What zrpctl makes of replies: complete, incomplete, hostile.
#include <csignal>
#include <cstddef>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <vector>

#include <gtest/gtest.h>

#include "common/transport.h"
#include "tests/ctl/run_zrpctl.h"
#include "tests/support/scripted_peer.h"

namespace zrp::replies_test {
namespace {

std::string console(const std::string& command, const std::string& content) {
    return "<zrpConsoleReply><" + command + ">" + content + "</" + command + "></zrpConsoleReply>";
}

std::string element(const std::string& tag, const std::string& content) {
    return "<" + tag + ">" + content + "</" + tag + ">";
}

std::string volume(int number, const std::string& name, const std::string& status = "0x3") {
    return element("volume", element("name", name) + element("status", status) +
                                 element("volumeNumber", std::to_string(number)));
}

// Each run gets the replies in turn, the last one again and again.
Ran run_with(const std::vector<std::string>& texts, const std::vector<std::string>& words) {
    std::vector<PeerScript> scripts;
    for (const std::string& text : texts) {
        scripts.push_back(answering(reply(text)));
    }
    const ScriptedPeer peer(kMainDaemonSocket, scripts);
    return run_zrpctl(words);
}

void expect_reply_failure(const Ran& ran, const std::string& message) {
    EXPECT_EQ(ran.status, 5);
    EXPECT_EQ(ran.output, "");
    EXPECT_EQ(ran.errors, "zrpctl: " + message + " (server daemon)\n");
}

TEST(Replies, AVolumeListIsPrintedInColumns) {
    const Ran ran = run_with({console("listVolumes", volume(0, "SYS") + volume(7, "D&amp;A", "1"))},
                             {"volumes"});
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.output, "NUMBER  NAME  STATUS\n"
                          "     0  SYS   online, mounted\n"
                          "     7  D&A   online, dismounted\n");
}

TEST(Replies, AVolumeListIsAnObject) {
    const Ran ran =
        run_with({console("listVolumes", volume(0, "SYS", "0x10003"))}, {"volumes", "--json"});
    EXPECT_EQ(ran.output, "{\"volumes\":[{\"number\":0,\"name\":\"SYS\",\"mounted\":true,"
                          "\"status\":[\"online\",\"mounted\",\"read only\"]}]}\n");
}

TEST(Replies, AnEmptyListIsNoFailure) {
    EXPECT_EQ(run_with({console("listVolumes", "")}, {"volumes", "--json"}).output,
              "{\"volumes\":[]}\n");
    EXPECT_EQ(run_with({console("listVolumes", "")}, {"volumes"}).output, "NUMBER  NAME  STATUS\n");
    EXPECT_EQ(run_with({console("listVolumes", "")}, {"volumes", "--no-heading"}).output, "");
}

TEST(Replies, AllPagesBelongToTheList) {
    const Ran ran = run_with({console("listVolumes", volume(0, "A") + element("startIndex", "1")),
                              console("listVolumes", volume(1, "B"))},
                             {"volumes", "--no-heading"});
    EXPECT_EQ(ran.output, "0  A  online, mounted\n1  B  online, mounted\n");
}

TEST(Replies, ALaterPageThatFailsLeavesNothing) {
    const std::string first = console("listVolumes", volume(0, "A") + element("startIndex", "1"));
    expect_reply_failure(run_with({first, "<zrpConsoleReply>"}, {"volumes"}),
                         "the reply is cut short or malformed");
    const Ran ran = run_with({first, console("other", "")}, {"volumes", "--json"});
    EXPECT_EQ(ran.status, 5);
    EXPECT_EQ(ran.output, "{\"error\":{\"kind\":\"reply\",\"message\":\"the reply is none to this "
                          "request\",\"daemon\":\"server\"}}\n");
}

TEST(Replies, APageThatDoesNotMoveOnIsAFailure) {
    for (const char* index : {"0", "-2", "4294967296"}) {
        expect_reply_failure(
            run_with({console("listVolumes", volume(0, "A") + element("startIndex", index))},
                     {"volumes"}),
            "a page of the list does not move on");
    }
    expect_reply_failure(
        run_with({console("listVolumes", volume(0, "A") + element("startIndex", "5"))},
                 {"volumes"}),
        "a page of the list does not move on");
    expect_reply_failure(
        run_with({console("listVolumes", volume(0, "A") + element("startIndex", "x"))},
                 {"volumes"}),
        "the index of the next page is no number");
}

TEST(Replies, AnItemThatLacksAnElementIsAFailure) {
    expect_reply_failure(
        run_with({console("listVolumes", volume(0, "A") + element("volume", element("name", "B")))},
                 {"volumes"}),
        "an item of the reply is incomplete: it has no volumeNumber");
    expect_reply_failure(run_with({console("listVolumes", volume(0, "A", "x"))}, {"volumes"}),
                         "a value of the reply is malformed: status");
}

TEST(Replies, WhatIsNoReplyIsAFailure) {
    for (const char* text : {"x", "<a/>", "<zrpConsoleReply/>", "<zrpConsoleReply></other>",
                             "<zrpConsoleReply/>tail", "&", "<!-- -->", "\xff\xfe"}) {
        const Ran ran = run_with({text}, {"volumes"});
        EXPECT_EQ(ran.status, 5) << text;
        EXPECT_EQ(ran.output, "") << text;
    }
    expect_reply_failure(run_with({""}, {"volumes"}), "the reply is empty");
    expect_reply_failure(run_with({console("listVolumes", "") + std::string(1, '\0')}, {"volumes"}),
                         "the reply is cut short or malformed");
}

TEST(Replies, DeepNestingDoesNotExhaustTheStack) {
    std::string open;
    std::string close;
    for (int i = 0; i < 200'000; i++) {
        open += "<a>";
        close += "</a>";
    }
    expect_reply_failure(
        run_with({"<zrpConsoleReply>" + open + close + "</zrpConsoleReply>"}, {"volumes"}),
        "the reply is none to this request");
}

TEST(Replies, ARefusalHasTheServersCodeAndWords) {
    const std::string refusal = "<zrpConsoleReply><result value=\"17\"/>"
                                "<description>volume exists: &lt;SYS&gt;</description>"
                                "</zrpConsoleReply>";
    const Ran ran = run_with({refusal}, {"volumes", "--json"});
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.output, "{\"error\":{\"kind\":\"refused\",\"code\":17,\"message\":\"volume "
                          "exists: <SYS>\",\"daemon\":\"server\"}}\n");
    EXPECT_EQ(ran.errors, "zrpctl: volume exists: <SYS> (server daemon, code 17)\n");
    EXPECT_EQ(run_with({"<zrpConsoleReply><result value=\"0\"/><listVolumes/></zrpConsoleReply>"},
                       {"volumes"})
                  .status,
              0);
    expect_reply_failure(
        run_with({"<zrpConsoleReply><result value=\"x\"/><listVolumes/></zrpConsoleReply>"},
                 {"volumes"}),
        "the reply has an error code that is no number");
    const Ran write = run_with({"<zrpConsoleReply><writeResult><error>full</error></writeResult>"
                                "</zrpConsoleReply>"},
                               {"volumes"});
    EXPECT_EQ(write.status, 1);
    EXPECT_EQ(write.errors, "zrpctl: full (server daemon, code 95)\n");
}

TEST(Replies, AStatusOfTheHeaderIsARefusal) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {answering(reply(console("listVolumes", ""), ECONNREFUSED))});
    const Ran ran = run_zrpctl({"volumes", "--json"});
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.json()["error"]["code"], ECONNREFUSED);
}

TEST(Replies, WhatCouldMoveTheCursorIsReplaced) {
    const std::string name = "A\x1b[2J\x7f\xc2\x9b\xe2\x80\xa8\xe2\x80\xae\xd8\x9c"
                             "B\xff";
    const std::string list = console("listVolumes", volume(0, name));
    const std::string mark = "\xef\xbf\xbd";
    EXPECT_EQ(run_with({list}, {"volumes", "--no-heading"}).output,
              "0  A" + mark + "[2J" + mark + mark + mark + mark + mark + "B" + mark +
                  "  online, mounted\n");
    const Ran json = run_with({list}, {"volumes", "--json"});
    EXPECT_NE(json.output.find("\"A\\u001b[2J\\u007f\\u009b\\u2028\\u202e\\u061cB" + mark + "\""),
              std::string::npos)
        << json.output;
    const Ran refusal = run_with({"<zrpConsoleReply><result value=\"3\"/><description>\x1b[2J"
                                  "</description></zrpConsoleReply>"},
                                 {"volumes"});
    EXPECT_EQ(refusal.errors, "zrpctl: " + mark + "[2J (server daemon, code 3)\n");
}

TEST(Replies, ColumnsFollowTheDisplayWidth) {
    const std::string wide = "\xe6\x97\xa5\xe6\x9c\xac"; // two characters, four columns
    const std::string combining = "e\xcc\x81";           // two characters, one column
    const Ran ran = run_with(
        {console("listVolumes", volume(0, wide) + volume(1, combining) + volume(2, "abcd"))},
        {"volumes", "--no-heading"});
    EXPECT_EQ(ran.output, "0  " + wide + "  online, mounted\n1  " + combining +
                              "     online, mounted\n2  abcd  online, mounted\n");
}

TEST(Replies, ALongNameIsNotCut) {
    const std::string name(5000, 'n');
    EXPECT_EQ(
        run_with({console("listVolumes", volume(0, name))}, {"volumes", "--no-heading"}).output,
        "0  " + name + "  online, mounted\n");
}

std::string parm(const std::string& name, const std::string& type, const std::string& value) {
    return "<parm><name>" + name + "</name><value type=\"" + type + "\">" + value +
           "</value></parm>\n";
}

TEST(Replies, StatisticsHaveTheTypesOfTheirValues) {
    const std::string list = parm("a", "unsignedLong", "18446744073709551615") +
                             parm("b", "long", "-5") + parm("c", "boolean", "1") +
                             parm("d", "float", "1.5") + parm("e", "string", "x y") +
                             parm("f", "time", "86400") + parm("g", "time", "0") +
                             parm("h", "unsignedInt", "") + parm("i", "diffSeconds", "90061");
    const Ran ran = run_with({console("serverStatistics", list)}, {"statistics", "--json"});
    EXPECT_EQ(ran.output,
              "{\"statistics\":[{\"name\":\"a\",\"value\":18446744073709551615},"
              "{\"name\":\"b\",\"value\":-5},{\"name\":\"c\",\"value\":true},"
              "{\"name\":\"d\",\"value\":1.5},{\"name\":\"e\",\"value\":\"x y\"},"
              "{\"name\":\"f\",\"value\":86400,\"valueUtc\":\"1970-01-02T00:00:00Z\"},"
              "{\"name\":\"g\",\"value\":0},{\"name\":\"h\"},{\"name\":\"i\",\"value\":90061}]}\n");
    const Ran plain = run_with({console("serverStatistics", list)}, {"statistics", "--no-heading"});
    EXPECT_NE(plain.output.find("1d 01:01:01\n"), std::string::npos) << plain.output;
    expect_reply_failure(
        run_with({console("serverStatistics", parm("a", "unsignedInt", "1x"))}, {"statistics"}),
        "a value of the reply is malformed: a");
}

TEST(Replies, AnElementThatDidNotComeIsLeftOut) {
    const std::string configuration =
        element("zrpServerName", "S") + element("zrpServerProductVersion", "1") +
        element("zrpServerFileServerVersion", "2") + element("zrpServerVersion", "3") +
        element("zrpAllowUncryptedPasswords", "0") + element("zrpMixedModePath", "1") +
        element("zrpOSLanguageID", "4");
    const Ran ran = run_with({console("serverConfig", configuration)}, {"configuration", "--json"});
    EXPECT_EQ(ran.output,
              "{\"configuration\":{\"zrpServerName\":\"S\",\"zrpServerProductVersion\":\"1\","
              "\"zrpServerFileServerVersion\":\"2\",\"zrpServerVersion\":\"3\","
              "\"zrpAllowUncryptedPasswords\":0,\"zrpMixedModePath\":1,\"zrpOSLanguageID\":4}}\n");
}

TEST(Replies, AFullPageOfConnectionsIsFollowedByAnother) {
    const auto connection = [](int station) {
        return element("connectionTag",
                       element("stationNumberTag", std::to_string(station)) +
                           element("zrpRequests", "1") + element("bytesRead", "2") +
                           element("bytesWritten", "3") + element("name", "u") +
                           element("loginTime", "-") + element("licensedState", "Yes") +
                           element("encrypted", "No") + element("mfa", "Disabled"));
    };
    std::string full;
    for (int station = 1; station <= 100; station++) {
        full += connection(2 * station);
    }
    const ScriptedPeer peer(kMainDaemonSocket,
                            {answering(reply(console("listConnections", full))),
                             answering(reply(console("listConnections", connection(777))))});
    const Ran ran = run_zrpctl({"connections", "--json"});
    EXPECT_EQ(ran.json()["connections"].size(), 101U);
    EXPECT_NE(peer.requests().at(1).find("<startIndex>201</startIndex>"), std::string::npos);
}

TEST(Replies, AnUnknownStatisticIsRefusedBesideTheOthers) {
    const std::string list = console("serverStatistics", parm("a", "int", "1"));
    const Ran some = run_with({list}, {"statistics", "nope", "a", "--json"});
    EXPECT_EQ(some.status, 1);
    EXPECT_EQ(some.output,
              "{\"statistics\":[{\"name\":\"a\",\"value\":1}],\"error\":{\"kind\":\"refused\","
              "\"code\":2,\"message\":\"no such statistic: nope\",\"daemon\":\"server\"}}\n");
    const Ran none = run_with({list}, {"statistics", "nope"});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.output, "");
    EXPECT_EQ(none.errors, "zrpctl: no such statistic: nope (server daemon, code 2)\n");
}

TEST(Replies, VersionsShowWhatCame) {
    const std::string version = "<zrpConsoleReply><versionTag>v1</versionTag></zrpConsoleReply>";
    const ScriptedPeer main(kMainDaemonSocket, {answering(reply(version))});
    const ScriptedPeer storage(kStorageDaemonSocket, {answering(reply("<zrp2bks_reply/>"))});
    const Ran ran = run_zrpctl({"versions", "--json"});
    EXPECT_EQ(ran.status, 3); // the management component cannot be reached, which is worse
    EXPECT_EQ(ran.json()["versions"].dump(), R"([{"name":"server","versionTag":"v1"}])");
    EXPECT_EQ(ran.json()["error"]["daemon"], "management");
    EXPECT_NE(ran.errors.find("zrpctl: the reply holds no version (storage daemon)\n"),
              std::string::npos)
        << ran.errors;
}

TEST(Requests, ATypedNameIsSentAsOneName) {
    for (const auto& [typed, sent] :
         {std::pair<std::string, std::string>{"A&B", "A&amp;B"},
          {"<x>", "&lt;x&gt;"},
          {"&&&&&&&&&&&&&&&", "&amp;&amp;&amp;&amp;&amp;&amp;&amp;&amp;&amp;&amp;&amp;&amp;&amp;"
                              "&amp;&amp;"},
          {"a, b", "a, b"}}) {
        const ScriptedPeer peer(kMainDaemonSocket, {answering(reply("<cut>"))});
        EXPECT_EQ(run_zrpctl({"volume", typed}).status, 5);
        EXPECT_NE(peer.requests().at(0).find("<name>" + sent + "</name>"), std::string::npos)
            << peer.requests().at(0);
    }
}

TEST(Requests, ACharacterThatNoRequestMayHoldIsAnErrorOfTheLine) {
    const Ran ran = run_zrpctl({"volume", "A\x01"});
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.errors,
              "zrpctl: NAME \"A\xef\xbf\xbd\" holds a character that no request may hold\n");
}

// A byte now and then, for longer than any limit of these tests.
PeerScript dripping(const std::string& bytes) {
    PeerScript script = send_in_pieces(bytes, 1, harness::milliseconds{20});
    script.insert(script.begin(), read_request());
    return script;
}

TEST(TimeLimit, HoldsAgainstEveryWayToBeSlow) {
    const PeerScript slow[] = {
        {hang()},
        {read_request(), hang()},
        {read_request(), send_bytes(reply_header(100)), hang()},
        dripping(reply(console("listVolumes", ""))),
    };
    for (const PeerScript& script : slow) {
        const ScriptedPeer peer(kMainDaemonSocket, {script});
        const Ran ran = run_zrpctl({"volumes", "--timeout", "0.05"});
        EXPECT_EQ(ran.status, 4);
        EXPECT_EQ(ran.errors, "zrpctl: no answer within 0.05 s (server daemon)\n");
    }
}

TEST(TimeLimit, HoldsAgainstADaemonThatDoesNotRead) {
    const ScriptedPeer peer(kMainDaemonSocket, {{hang()}});
    const Ran ran = run_zrpctl({"send", "-", "--yes", "--timeout", "0.2"},
                               {.environment = {}, .input = std::string(8 << 20, ' ')});
    EXPECT_EQ(ran.status, 4) << ran.errors;
}

TEST(TimeLimit, HoldsWhenNobodyAccepts) {
    const harness::Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address = {AF_UNIX, ""};
    const std::string name = kMainDaemonSocket;
    name.copy(address.sun_path + 1, name.size());
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    ASSERT_EQ(bind(listener.get(), reinterpret_cast<sockaddr*>(&address), length), 0);
    ASSERT_EQ(listen(listener.get(), 0), 0);
    const harness::Descriptor waiting(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(connect(waiting.get(), reinterpret_cast<sockaddr*>(&address), length), 0);
    const Ran ran = run_zrpctl({"volumes", "--timeout", "0.2"});
    EXPECT_EQ(ran.status, 4) << ran.errors;
    EXPECT_EQ(ran.errors, "zrpctl: no answer within 0.2 s (server daemon)\n");
}

TEST(TimeLimit, HoldsForAllPagesTogether) {
    std::vector<PeerScript> scripts;
    for (int page = 0; page < 50; page++) {
        const std::string text = console(
            "listVolumes", volume(page, "V") + element("startIndex", std::to_string(page + 1)));
        scripts.push_back(
            {read_request(), pause_for(harness::milliseconds{50}), send_bytes(reply(text))});
    }
    const ScriptedPeer peer(kMainDaemonSocket, scripts);
    const Ran ran = run_zrpctl({"volumes", "--timeout", "0.3"});
    EXPECT_EQ(ran.status, 4);
    EXPECT_EQ(ran.output, "");
    EXPECT_LT(peer.connections(), 20U);
}

} // namespace
} // namespace zrp::replies_test
