#include <string>

#include "common/engine/command.h"
#include "common/heap_text.h"
#include "common/requests/volume_management.h"
#include "tests/support/exact_block.h"
#include "tests/support/simulated_server.h"
#include "tests/unit/failing_malloc.h"
#include "tests/unit/operation_faults.h"

namespace zrp::volume_tree_test {
namespace {

constexpr size_t kRoom = 4096;

std::string tree_request(const std::string& name, const std::string& flags) {
    return "<zrpConsoleRequest pid=\"PID\"><VTCRequest>\n<versionTag>1</versionTag><volumeName>" +
           name + "</volumeName><controlFlags>" + flags +
           "</controlFlags>\n</VTCRequest></zrpConsoleRequest>";
}

TEST(BuildVolumeTreeControlRequest, NamesVolumeAndFlags) {
    uint32_t length = 0;
    EXPECT_EQ(built(BuildVolumeTreeControlRequest(1, "DATA", 6, &length), length),
              tree_request("DATA", "6"));
    EXPECT_EQ(built(BuildVolumeTreeControlRequest(1, "", UINT32_MAX, &length), length),
              tree_request("", "4294967295"));
    const std::string longest(3900, 'x');
    EXPECT_EQ(built(BuildVolumeTreeControlRequest(1, longest.c_str(), 0, &length), length),
              tree_request(longest, "0"));
}

TEST(BuildVolumeTreeControlRequest, RefusesWhatBreaksTheDocument) {
    uint32_t length = 0;
    EXPECT_EQ(BuildVolumeTreeControlRequest(1, "<", 6, &length), nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(BuildVolumeTreeControlRequest(1, nullptr, 6, &length), nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(BuildVolumeTreeControlRequest(1, std::string(kRoom, 'x').c_str(), 6, &length),
              nullptr);
    EXPECT_EQ(errno, ENOMEM);
}

using VolumeTree = OperationTest;

TEST_F(VolumeTree, ANameOfFifteenCharactersIsSentAndALongerOneIsNot) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("<r/>"))}});
    EXPECT_EQ(VolumeTreeControl("ABCDEFGHIJKLMNO", 3, nullptr, log), kOk);
    EXPECT_EQ(document_of(peer.requests().at(0)), tree_request("ABCDEFGHIJKLMNO", "3"));
    EXPECT_EQ(contents(), "");
    EXPECT_EQ(VolumeTreeControl("ABCDEFGHIJKLMNOP", 3, nullptr, log), kNameTooLong);
    EXPECT_EQ(contents(), "[i TIME] Supported Volume name max length 15\n");
    EXPECT_EQ(VolumeTreeControl(nullptr, 3, nullptr, log), kInvalid);
    EXPECT_EQ(VolumeTreeControl("a<b", 3, nullptr, log), kInvalid);
    EXPECT_EQ(peer.connections(), 1U);
}

TEST_F(VolumeTree, EachFaultHasItsCodeAndItsLine) {
    expect_faults(kMainDaemonSocket,
                  [](ErrorText* errorText, LogContext* to) {
                      return VolumeTreeControl("DATA", 3, errorText, to);
                  },
                  {kOk, ""});
}

TEST_F(VolumeTree, WithoutMemoryTheLogSaysSo) {
    const FailingMalloc failing(kRoom);
    EXPECT_EQ(VolumeTreeControl("DATA", 3, nullptr, log), kNoMemory);
    EXPECT_EQ(contents(), "[! TIME] failed to allocate request buffer ENOMEM\n");
}

TEST_F(VolumeTree, TheSimulatedServerTakesFlagsOfItsVolumes) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    ErrorText errorText;
    EXPECT_EQ(VolumeTreeControl("SYS", 5, &errorText, log), kOk);
    EXPECT_STREQ(errorText, "");
    EXPECT_EQ(VolumeTreeControl("SYS", 0xFFFFFFFF, &errorText, log), kOk);
    EXPECT_EQ(VolumeTreeControl("NOSUCH", 5, &errorText, log), 2);
    EXPECT_STREQ(errorText, "2 no such volume: NOSUCH");
    EXPECT_EQ(contents(), "");
}

TEST(FlushVolumes, TheRequestHasNoChildren) {
    uint32_t length = 0;
    EXPECT_EQ(built(BuildFlushVolumesRequest(&length), length),
              "<zrpConsoleRequest pid=\"PID\"><flushVolumes/></zrpConsoleRequest>");
    const FailingMalloc failing(256);
    EXPECT_EQ(BuildFlushVolumesRequest(&length), nullptr);
}

TEST(FlushVolumes, TheReplyHoldsTheCommand) {
    struct Row {
        const char* text;
        int code;
    };
    const Row rows[] = {
        {"<zrpConsoleReply><flushVolumes><volumeCount>3</volumeCount></flushVolumes>"
         "</zrpConsoleReply>",
         kOk},
        {"<zrpConsoleReply><flushVolumes/></zrpConsoleReply>", kOk},
        {"<zrpConsoleReply><other/></zrpConsoleReply>", kInvalid},
        {"<flushVolumes/>", kInvalid},
        {"", kInvalid},
    };
    for (const Row& row : rows) {
        std::string text = row.text;
        EXPECT_EQ(ScanFlushVolumesReply(text.data(), static_cast<int>(text.size())), row.code);
    }
    const std::string whole = rows[0].text;
    scan_every_prefix(whole, [&](char* reply, int length) {
        EXPECT_EQ(ScanFlushVolumesReply(reply, length),
                  static_cast<size_t>(length) < whole.size() ? kInvalid : kOk);
    });
}

TEST_F(VolumeTree, TheSimulatedServerFlushesItsVolumes) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    uint32_t length = 0;
    HeapText request(BuildFlushVolumesRequest(&length));
    Reply answer;
    ASSERT_EQ(send_document(std::move(request), length, {nullptr, log}, &answer), kOk);
    EXPECT_EQ(ScanFlushVolumesReply(answer.text.get(), answer.length), kOk);
}

} // namespace
} // namespace zrp::volume_tree_test
