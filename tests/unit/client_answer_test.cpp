#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "common/client.h"
#include "tests/support/scripted_peer.h"

namespace zrp {
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
    EXPECT_EQ(Describe(client::Answer<>{ECONNREFUSED, {}, {}}), "no daemon listens, code 111");
    EXPECT_EQ(Describe(client::Answer<int>{kNameTooLong, {}, 0}),
              "the volume name is too long, code -702");
    EXPECT_EQ(Describe(client::Answer<>{4711, {}, {}}), "code 4711");
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
} // namespace zrp
