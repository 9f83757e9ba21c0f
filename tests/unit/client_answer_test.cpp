#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/client.h"
#include "tests/support/scripted_peer.h"

namespace zrp::client_answer_test {
namespace {

TEST(ClientAnswer, IsTrueWithAValue) {
    EXPECT_TRUE(client::Answer<>{});
    EXPECT_FALSE((client::Answer<>{kInvalid, {}, {}}));
    EXPECT_FALSE((client::Answer<std::string>{-5, "-5 words", ""}));
}

TEST(ClientAnswer, IsDescribedInTheServersWords) {
    EXPECT_EQ(Describe(client::Answer<>{17, "17 volume exists: NEW", {}}), "17 volume exists: NEW");
}

TEST(ClientAnswer, IsDescribedByItsCodeWithoutWords) {
    EXPECT_EQ(Describe(client::Answer<>{ECONNREFUSED, {}, {}}), "connection refused, code 111");
    EXPECT_EQ(Describe(client::Answer<int>{kNameTooLong, {}, 0}),
              "volume name too long, code -702");
    EXPECT_EQ(Describe(client::Answer<>{4711, {}, {}}), "error reported by the server, code 4711");
}

TEST(ClientSession, NamesTheDaemonWhileItLives) {
    {
        const client::Session session("zrp-test-daemon");
        EXPECT_EQ(session.Code(), kOk);
        const ScriptedPeer peer("zrp-test-daemon",
                                {{read_request(), send_bytes(reply("<zrpConsoleReply>"
                                                                   "<flushVolumes/>"
                                                                   "</zrpConsoleReply>"))}});
        EXPECT_TRUE(client::FlushVolumes());
        EXPECT_EQ(peer.requests().size(), 1U);
    }
    EXPECT_EQ(client::FlushVolumes().code, kInvalid);
}

TEST(ClientSession, RefusesAnEmptyName) {
    const client::Session session("");
    EXPECT_EQ(session.Code(), kInvalid);
}

// An operation of the library with one item.
int give_one(int (*callback)(void* context, const int& item), void* context, ErrorText*,
             const LogContext*) {
    return callback(context, 7);
}

TEST(ClientCallbacks, WhatTheyThrowReachesTheProgram) {
    const auto fail = [](int item) -> int { throw std::runtime_error(std::to_string(item)); };
    EXPECT_THROW((void)client::detail::RunForItems<int>(give_one, fail), std::runtime_error);
    const auto values = client::detail::RunForRecords<int>(give_one);
    EXPECT_EQ(values.value, std::vector<int>{7});
}

TEST(ClientTexts, AreReadableWithoutEntities) {
    EXPECT_EQ(client::Unescaped("Q&amp;A &lt;old&gt;"), "Q&A <old>");
    EXPECT_EQ(client::Unescaped(""), "");
    EXPECT_EQ(client::Unescaped(std::string_view("a&amp;b").substr(0, 6)), "a&");
}

TEST(ClientTexts, AreSendableWithEntities) {
    EXPECT_EQ(client::Escaped("Q&A <old> \"x\" 'y'"),
              "Q&amp;A &lt;old&gt; &quot;x&quot; &apos;y&apos;");
    EXPECT_EQ(client::Escaped(""), "");
    EXPECT_EQ(client::Escaped(std::string(1000, '"')).size(), 6000U);
}

} // namespace
} // namespace zrp::client_answer_test
