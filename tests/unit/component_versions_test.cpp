// The version requests of the three components, each with a scripted peer in its place.
#include "common/requests/component_versions.h"

#include <cerrno>
#include <cstring>
#include <ostream>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "common/result.h"
#include "common/transport.h"
#include "tests/support/needs.h"
#include "tests/support/scripted_peer.h"

namespace zrp::component_versions_test {
namespace {

struct Component {
    const char* name;
    int (*ask)(VersionText& text);
    const char* socketName;
    uint32_t requestNumber;
    const char* outer;
    int emptyReply; // result for a reply of length 0
};

std::ostream& operator<<(std::ostream& out, const Component& component) {
    return out << component.name;
}

class ComponentVersion : public testing::TestWithParam<Component> {
protected:
    void SetUp() override {
        IPCServInit(kMainDaemonSocket);
    }
    void TearDown() override {
        IPCServTerm();
    }

    int ask_peer_that(const PeerStep& sends) {
        const ScriptedPeer peer(GetParam().socketName, {{read_request(), sends}});
        return ask();
    }
    int ask() {
        strcpy(text, "left over");
        return GetParam().ask(text);
    }

    VersionText text;
};

TEST_P(ComponentVersion, IsAskedForWithADocumentWithoutContent) {
    const std::string outer = GetParam().outer;
    const std::string document = "<" + outer + " pid=\"" + std::to_string(getpid()) +
                                 "\"><versionTag>\n\n</versionTag></" + outer + ">";
    const RequestHeader header = {kMagic, GetParam().requestNumber,
                                  static_cast<uint32_t>(document.size())};
    const ScriptedPeer peer(
        GetParam().socketName,
        {{read_request(), send_bytes(reply("<r><versionTag>1.2\n</versionTag></r>"))}});
    EXPECT_EQ(ask(), kOk);
    EXPECT_STREQ(text, "1.2\n");
    EXPECT_EQ(peer.requests().at(0),
              std::string(reinterpret_cast<const char*>(&header), sizeof header) + document);
}

TEST_P(ComponentVersion, OfAnEmptyReplyIsEmptyForEngineAndManagementAndMissingForStorage) {
    EXPECT_EQ(ask_peer_that(send_bytes(reply(""))), GetParam().emptyReply);
    EXPECT_STREQ(text, "");
}

TEST_P(ComponentVersion, PassesTheServersErrorOn) {
    EXPECT_EQ(ask_peer_that(
                  send_bytes(reply("<r><result value=\"-5\"/><versionTag>1.2</versionTag></r>"))),
              -5);
    EXPECT_STREQ(text, "");
}

TEST_P(ComponentVersion, PassesTheTransportsCodeOn) {
    EXPECT_EQ(ask_peer_that(send_bytes(reply("<versionTag>1.2</versionTag>", 7))), 7);
    EXPECT_EQ(ask_peer_that(send_bytes(reply_header(0, 0, 1))), kBadMagic);
    EXPECT_EQ(ask(), ECONNREFUSED);
    EXPECT_STREQ(text, "");
}

TEST_P(ComponentVersion, IsMissingInAReplyWithoutOne) {
    EXPECT_EQ(ask_peer_that(send_bytes(reply("<r>1.2</r>"))), kInvalid);
    EXPECT_EQ(ask_peer_that(send_bytes(reply("<r><versionTag/></r>"))), kInvalid);
    EXPECT_EQ(ask_peer_that(send_bytes(reply("<r><versionTag>1.2</r>"))), kInvalid);
    EXPECT_STREQ(text, "");
}

TEST_P(ComponentVersion, FitsUpToTheBuffer) {
    const std::string longest(kVersionTextSize - 1, 'v');
    EXPECT_EQ(ask_peer_that(send_bytes(reply("<versionTag>" + longest + "</versionTag>"))), kOk);
    EXPECT_EQ(text, longest);
    EXPECT_EQ(ask_peer_that(send_bytes(reply("<versionTag>" + longest + "v</versionTag>"))),
              kTooLong);
    EXPECT_STREQ(text, "");
}

INSTANTIATE_TEST_SUITE_P(All, ComponentVersion,
                         testing::Values(Component{"Engine", getServerVersion, "/tmp/.zrpserv",
                                                   0xDEADBEEF, "zrpConsoleRequest", kOk},
                                         Component{"Storage", getBksVersion, "/tmp/.zrp2bks",
                                                   0xFADE2BAD, "zrp2bks_request", kInvalid},
                                         Component{"Management", getOmwVersion, "/tmp/.libomw2zrp",
                                                   0xBADDAD00, "libomw2zrpRequestTag", kOk}),
                         [](const auto& component) { return std::string(component.param.name); });

} // namespace
} // namespace zrp::component_versions_test
