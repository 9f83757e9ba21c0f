#include "common/requests/cluster_resource.h"

#include <string>
#include <vector>

#include "common/engine/command.h"
#include "common/heap_text.h"
#include "tests/support/exact_block.h"
#include "tests/support/simulated_server.h"
#include "tests/unit/failing_malloc.h"
#include "tests/unit/operation_faults.h"

namespace zrp::cluster_resource_test {
namespace {

std::string resource_request(const std::string& content) {
    return "<zrpConsoleRequest pid=\"PID\"><clusterResource>\n" + content +
           "\n</clusterResource></zrpConsoleRequest>";
}

std::string build_volumes(const std::vector<ClusterVolume>& volumes) {
    uint32_t length = 0;
    return built(BuildClusterVolumeRequest(volumes, &length), length);
}

// The elements that settings become.
std::string settings_of(const char* settings) {
    const std::string text = build_volumes({{"DATA", 7, settings}});
    const std::string before = "<volumeNumber>7</volumeNumber>";
    const size_t at = text.find(before);
    return at == std::string::npos
               ? text
               : text.substr(at + before.size(), text.find("</volume>") - at - before.size());
}

TEST(BuildOneClusterVolumeRequest, TakesSettingsAsTheyAre) {
    const ClusterVolumeSettings all = {"A, B", 7, "/a \"b\", c", "/SHADOW;PATH=", "S 1"};
    const ClusterVolumeSettings none = {"DATA"};
    uint32_t length = 0;
    EXPECT_EQ(built(BuildOneClusterVolumeRequest(all, &length), length),
              resource_request("<volume><volumeName>A, B</volumeName><volumeNumber>7</volumeNumber>"
                               "<shadow>/SHADOW;PATH=</shadow><mountPoint>/a \"b\", c</mountPoint>"
                               "<options>SHADOWVOLUME=S 1</options></volume>"));
    EXPECT_EQ(built(BuildOneClusterVolumeRequest(none, &length), length),
              resource_request("<volume><volumeName>DATA</volumeName><volumeNumber>-1"
                               "</volumeNumber></volume>"));
    EXPECT_EQ(BuildOneClusterVolumeRequest({}, &length), nullptr);
}

TEST(BuildClusterBindRequest, NamesServerAddressAndFlag) {
    uint32_t length = 0;
    EXPECT_EQ(built(BuildClusterBindRequest("V1", "10.0.0.1", 1, &length), length),
              resource_request("<zrpServerName>V1</zrpServerName><networkAddress>10.0.0.1"
                               "</networkAddress><bindFlag>1</bindFlag>"));
    EXPECT_EQ(BuildClusterBindRequest("<V1", "10.0.0.1", 1, &length), nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(BuildClusterBindRequest("V1", nullptr, 1, &length), nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(BuildClusterBindRequest(std::string(1024, 'v').c_str(), "1", 1, &length), nullptr);
    EXPECT_EQ(errno, ENOMEM);
    const FailingMalloc failing(1024);
    EXPECT_EQ(BuildClusterBindRequest("V1", "10.0.0.1", 1, &length), nullptr);
}

TEST(BuildClusterVolumeRequest, GroupsTheVolumes) {
    EXPECT_EQ(
        build_volumes({{"DATA", 7, "PATH=/mnt/a SHADOWVOLUME=OLD SHADOWPATH=/mnt/s"}, {"SYS"}}),
        resource_request(
            "<volume><volumeName>DATA</volumeName><volumeNumber>7</volumeNumber><shadow>/mnt/s"
            "</shadow><mountPoint>/mnt/a</mountPoint><options>SHADOWVOLUME=OLD</options></volume>"
            "<volume><volumeName>SYS</volumeName><volumeNumber>-1</volumeNumber></volume>"));
}

TEST(BuildClusterVolumeRequest, SettingsStandBetweenSeparatorsOrInQuotes) {
    struct Row {
        const char* settings;
        const char* elements;
    };
    const Row rows[] = {
        {nullptr, ""},
        {"", ""},
        {" ,;\t", ""},
        {"PATH=", ""},
        {"PATH=\"\"", ""},
        {"PATH=/a", "<mountPoint>/a</mountPoint>"},
        {" ;PATH=/a,", "<mountPoint>/a</mountPoint>"},
        {"SHADOWPATH=/s;PATH=/a", "<shadow>/s</shadow><mountPoint>/a</mountPoint>"},
        {"PATH=\"/my a, b;c\"SHADOWPATH=/s",
         "<shadow>/s</shadow><mountPoint>/my a, b;c</mountPoint>"},
        {"PATH=/a=b", "<mountPoint>/a=b</mountPoint>"},
        {"SHADOWVOLUME=OLD", "<options>SHADOWVOLUME=OLD</options>"},
        {"PATH=/a PATH=/b", "(null)"},
        {"PATH= PATH=/b", "(null)"},
        {"PATH", "(null)"},
        {"path=/a", "(null)"},
        {"PATH=/a colour=red", "(null)"},
        {"PATH=\"/a", "(null)"},
        {"PATH=\"", "(null)"},
        {"PATH=/a<", "(null)"},
        {"SHADOWVOLUME=\x01", "(null)"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(settings_of(row.settings), row.elements)
            << (row.settings != nullptr ? row.settings : "(none)");
    }
}

TEST(BuildClusterVolumeRequest, HostileAndLongArguments) {
    uint32_t length = 0;
    EXPECT_EQ(BuildClusterVolumeRequest({}, &length), nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(build_volumes({{"<DATA"}}), "(null)");
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(build_volumes({{nullptr}}), "(null)");
    EXPECT_EQ(errno, EINVAL);

    const std::string longest(7900, 'p');
    EXPECT_EQ(settings_of(("PATH=" + longest).c_str()), "<mountPoint>" + longest + "</mountPoint>");
    for (const size_t size : {8192U, 8200U, 20000U}) {
        const std::string tooLong = "SHADOWVOLUME=" + std::string(size, 'p');
        EXPECT_EQ(build_volumes({{"DATA", 1, tooLong.c_str()}}), "(null)");
        EXPECT_EQ(errno, ENOMEM);
    }
    const std::vector<ClusterVolume> many(200, ClusterVolume{"DATA"});
    EXPECT_EQ(build_volumes(many), "(null)");
    const FailingMalloc failing(8192);
    EXPECT_EQ(build_volumes({{"DATA"}}), "(null)");
}

TEST(BuildListVirtualServersRequest, HasNoChildren) {
    uint32_t length = 0;
    EXPECT_EQ(built(BuildListVirtualServersRequest(&length), length),
              "<zrpConsoleRequest pid=\"PID\"><listvirtualservers/></zrpConsoleRequest>");
    const FailingMalloc failing(256);
    EXPECT_EQ(BuildListVirtualServersRequest(&length), nullptr);
}

TEST(ScanClusterBindReply, LooksForTheCommand) {
    const std::string text = "<zrpConsoleReply><clusterResource><zrpServerName>V1</zrpServerName>"
                             "</clusterResource></zrpConsoleReply>";
    scan_every_prefix(text, [&](char* reply, int length) {
        EXPECT_EQ(ScanClusterBindReply(reply, length),
                  static_cast<size_t>(length) < text.size() ? kInvalid : kOk);
    });
}

std::string result(const std::string& name, const std::string& number, const std::string& code) {
    return "<volume><volumeName>" + name + "</volumeName><volumeNumber>" + number +
           "</volumeNumber><mountFailureCode>" + code + "</mountFailureCode></volume>";
}

std::string resource_reply(const std::string& content) {
    return "<zrpConsoleReply><clusterResource>" + content + "</clusterResource></zrpConsoleReply>";
}

TEST(ScanClusterVolumeReply, GivesVolumeAfterVolume) {
    std::string text =
        resource_reply(result("DATA", "7", "0") + "\n" + result(std::string(300, 'x'), "-1", "-5") +
                       "<volume><volumeName>BAD</volumeName></volume>");
    const auto length = static_cast<int>(text.size());
    int offset = 0;
    ClusterVolumeResult record = {};
    EXPECT_EQ(ScanClusterVolumeReply(text.data(), length, &offset, &record), kOk);
    EXPECT_STREQ(record.volumeName, "DATA");
    EXPECT_EQ(record.volumeNumber, 7);
    EXPECT_EQ(record.mountFailureCode, 0);
    EXPECT_EQ(ScanClusterVolumeReply(text.data(), length, &offset, &record), kOk);
    EXPECT_EQ(record.volumeName, std::string(kClusterNameSize - 1, 'x'));
    EXPECT_EQ(record.volumeNumber, -1);
    EXPECT_EQ(record.mountFailureCode, -5);
    const int before = offset;
    EXPECT_EQ(ScanClusterVolumeReply(text.data(), length, &offset, &record), kInvalid);
    EXPECT_EQ(record.mountFailureCode, -5);
    EXPECT_EQ(offset, before);
    offset = length;
    EXPECT_EQ(ScanClusterVolumeReply(text.data(), length, &offset, &record), kRange);
}

TEST(ScanClusterVolumeReply, EveryPrefixIsReadInItsBounds) {
    const std::string text = resource_reply(result("DATA", "7", "0"));
    scan_every_prefix(text, [&](char* reply, int length) {
        int offset = 0;
        ClusterVolumeResult record = {};
        EXPECT_EQ(ScanClusterVolumeReply(reply, length, &offset, &record),
                  static_cast<size_t>(length) < text.size() ? kInvalid : kOk);
    });
}

class SimulatedCluster : public OperationTest {
protected:
    int ask(char* document, uint32_t length, Reply* answer, ErrorText* errorText = nullptr) {
        return send_document(HeapText(document), length, {errorText, log}, answer);
    }

    std::string virtual_servers() {
        uint32_t length = 0;
        char* document = BuildListVirtualServersRequest(&length);
        Reply answer;
        EXPECT_EQ(ask(document, length, &answer), kOk);
        char count[16] = "(none)";
        GetTagString("totalVirtualServers", answer.text.get(), answer.length, sizeof count, count);
        return count;
    }

    SimulatedServer server;
};

TEST_F(SimulatedCluster, AnAddressIsBoundOnceAndTakenAway) {
    ASSERT_TRUE(server.ready());
    EXPECT_EQ(virtual_servers(), "0");
    uint32_t length = 0;
    char* document = BuildClusterBindRequest("V1", "10.0.0.1", 1, &length);
    Reply answer;
    ASSERT_EQ(ask(document, length, &answer), kOk);
    EXPECT_EQ(ScanClusterBindReply(answer.text.get(), answer.length), kOk);
    EXPECT_EQ(virtual_servers(), "1");

    ErrorText errorText;
    document = BuildClusterBindRequest("V2", "10.0.0.1", 1, &length);
    EXPECT_EQ(ask(document, length, &answer, &errorText), 17);
    EXPECT_STREQ(errorText, "17 address is bound: 10.0.0.1");

    document = BuildClusterBindRequest("V1", "10.0.0.1", 0, &length);
    EXPECT_EQ(ask(document, length, &answer), kOk);
    EXPECT_EQ(virtual_servers(), "0");
}

TEST_F(SimulatedCluster, VolumesAreMountedAndFailuresAreToldOneByOne) {
    ASSERT_TRUE(server.ready());
    const ClusterVolume volumes[] = {{"BACKUP", 254, "PATH=/mnt/b SHADOWPATH=/mnt/s"}, {"NOSUCH"}};
    uint32_t length = 0;
    char* document = BuildClusterVolumeRequest(volumes, &length);
    Reply answer;
    ASSERT_EQ(ask(document, length, &answer), kOk);
    int offset = 0;
    ClusterVolumeResult record = {};
    EXPECT_EQ(ScanClusterVolumeReply(answer.text.get(), answer.length, &offset, &record), kOk);
    EXPECT_STREQ(record.volumeName, "BACKUP");
    EXPECT_EQ(record.volumeNumber, 254);
    EXPECT_EQ(record.mountFailureCode, 0);
    EXPECT_EQ(ScanClusterVolumeReply(answer.text.get(), answer.length, &offset, &record), kOk);
    EXPECT_STREQ(record.volumeName, "NOSUCH");
    EXPECT_EQ(record.mountFailureCode, 2);
    EXPECT_NE(ScanClusterVolumeReply(answer.text.get(), answer.length, &offset, &record), kOk);
}

} // namespace
} // namespace zrp::cluster_resource_test
