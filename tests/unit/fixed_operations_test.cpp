// Operations that join a builder and a scanner of their family: what they send and what they give.
#include <string>
#include <vector>

#include "common/client.h"
#include "common/requests/cluster_resource.h"
#include "common/requests/server_login.h"
#include "common/requests/server_settings.h"
#include "common/requests/server_statistics.h"
#include "common/requests/server_threads.h"
#include "common/requests/storage_daemon.h"
#include "common/requests/volume_management.h"
#include "common/requests/volume_mounting.h"
#include "tests/support/drivers.h"
#include "tests/unit/catalogue_fixture.h"

namespace zrp::fixed_operations_test {
namespace {

using Texts = std::vector<std::string>;

template <typename Text>
int keep(void* context, const Text& text) {
    auto* texts = static_cast<Texts*>(context);
    texts->emplace_back(text);
    return texts->back() == "stop" ? -77 : kOk;
}

class FixedOperation : public CatalogueTest {
protected:
    // Runs the operation with a daemon that answers so; gives the document that it got.
    template <typename Run>
    std::string sent(const std::string& answer, Run run, int code = kOk,
                     const char* daemon = kMainDaemonSocket) {
        ScriptedPeer peer(daemon, answer_with({answer}));
        errorText[0] = '#';
        errorText[1] = '\0';
        EXPECT_EQ(run(), code);
        EXPECT_STREQ(errorText, "");
        return peer.connections() == 0 ? "(none)" : document_of(peer.requests().at(0));
    }

    static std::string sample(const char* name) {
        for (const Sample& sample : samples("replies")) {
            if (sample.name == name) {
                return sample.text;
            }
        }
        return "";
    }

    ErrorText errorText = "";
};

TEST_F(FixedOperation, PurgeVolumeGivesTheNameAsTheServerSpellsIt) {
    VolumeName purged = "";
    const auto run = [&] { return PurgeVolume("data", purged, &errorText, log); };
    EXPECT_EQ(sent(reply_with("purgeVolume", "<volumeName>DATA</volumeName>"), run),
              request_with("purgeVolume", "<volumeName>data</volumeName>"));
    EXPECT_STREQ(purged, "DATA");
}

TEST_F(FixedOperation, FlushVolumesSendsNothingButTheCommand) {
    EXPECT_EQ(sent(reply_with("flushVolumes", ""), [&] { return FlushVolumes(&errorText, log); }),
              "<zrpConsoleRequest pid=\"PID\"><flushVolumes/></zrpConsoleRequest>");
}

TEST_F(FixedOperation, MountAllAndDismountAllGiveTheNames) {
    const std::string names = "<volume><name>A</name></volume><volume><name>B</name></volume>";
    Texts texts;
    EXPECT_EQ(sent(reply_with("mountAll", names),
                   [&] { return MountAllVolumes(keep<VolumeName>, &texts, &errorText, log); }),
              "<zrpConsoleRequest pid=\"PID\"><mountAll/></zrpConsoleRequest>");
    EXPECT_EQ(sent(reply_with("dismountAll", names),
                   [&] { return DismountAllVolumes(keep<VolumeName>, &texts, &errorText, log); }),
              "<zrpConsoleRequest pid=\"PID\"><dismountAll/></zrpConsoleRequest>");
    EXPECT_EQ(texts, (Texts{"A", "B", "A", "B"}));
    sent(reply_with("mountAll", ""),
         [&] { return MountAllVolumes(keep<VolumeName>, &texts, &errorText, log); });
    sent(
        reply_with("mountAll", "<volume><name>stop</name></volume>" + names),
        [&] { return MountAllVolumes(keep<VolumeName>, &texts, &errorText, log); }, -77);
    sent(
        reply_with("mountAll", names + "<volume></volume>"),
        [&] { return MountAllVolumes(keep<VolumeName>, &texts, &errorText, log); }, kInvalid);
}

TEST_F(FixedOperation, ChangeLoginSendsTheChangeAndGivesTheLines) {
    Texts lines;
    const LoginChange changes[] = {{.enable = true},
                                   {.enable = false, .volumeName = "DATA", .readOnly = true}};
    const auto change = [&](const LoginChange& wanted) {
        return [&] { return ChangeLogin(wanted, keep<LoginText>, &lines, &errorText, log); };
    };
    EXPECT_EQ(sent(reply_with("enableLogin", "<string>on</string>"), change(changes[0])),
              request_with("enableLogin", "<enable/>"));
    EXPECT_EQ(sent(reply_with("disableLogin", "<string>off</string><string>!</string>"),
                   change(changes[1])),
              request_with("disableLogin", "<disable/><volume><volumeName>DATA</volumeName>"
                                           "<readOnly>YES</readOnly></volume>"));
    EXPECT_EQ(lines, (Texts{"on", "off", "!"}));
    const LoginChange longName = {.volumeName = kTooLongName};
    EXPECT_EQ(sent("", change(longName), kNameTooLong), "(none)");
}

TEST_F(FixedOperation, GetServerConfigAndSetServerConfigFillTheRecord) {
    ServerConfig config = {};
    const std::string answer = sample("server_config.xml");
    EXPECT_EQ(sent(answer, [&] { return GetServerConfig(&config, &errorText, log); }),
              request_with("serverConfig", "<versionTag>1</versionTag>"));
    EXPECT_STRNE(config.zrpServerName, "");
    config = {};
    EXPECT_EQ(sent(answer, [&] { return SetServerConfig("a", "1", &config, &errorText, log); }),
              request_with("serverConfig", "<versionTag>1</versionTag><name>a</name><set>1</set>"));
    EXPECT_STRNE(config.zrpServerName, "");
}

TEST_F(FixedOperation, GetServerCountersFillsTheRecord) {
    ServerCounters counters = {};
    EXPECT_EQ(sent(sample("server_counters.xml"),
                   [&] { return GetServerCounters(&counters, &errorText, log); }),
              "<zrpConsoleRequest><serverStatistics><versionTag>1</versionTag></serverStatistics>"
              "</zrpConsoleRequest>");
    EXPECT_NE(counters.serverUpTime, 0U);
}

TEST_F(FixedOperation, GetThreadsFillsTheRecord) {
    ThreadStatistics threads = {};
    testing::internal::CaptureStderr(); // it names what the reply lacks
    EXPECT_EQ(sent("<r><threads><activeSSGThreads>7</activeSSGThreads></threads></r>",
                   [&] { return GetThreads(&threads, &errorText, log); }),
              "<zrpConsoleRequest pid=\"PID\"><threads/></zrpConsoleRequest>");
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(threads.activeSSGThreads, 7);
}

TEST_F(FixedOperation, BindAddressAndUnbindAddressDifferInTheFlag) {
    const auto request = [](const char* flag) {
        return request_with("clusterResource",
                            "<zrpServerName>VS</zrpServerName><networkAddress>10.0.0.1"
                            "</networkAddress><bindFlag>" +
                                std::string(flag) + "</bindFlag>");
    };
    const std::string answer = reply_with("clusterResource", "");
    EXPECT_EQ(sent(answer, [&] { return BindAddress("VS", "10.0.0.1", &errorText, log); }),
              request("1"));
    EXPECT_EQ(sent(answer, [&] { return UnbindAddress("VS", "10.0.0.1", &errorText, log); }),
              request("0"));
}

TEST_F(FixedOperation, MountClusterVolumesGivesWhatBecameOfEach) {
    Texts names;
    const ClusterVolume volumes[] = {{"A", 7, "PATH=/mnt/a"}, {"B"}};
    const auto keepVolume = [](void* context, const ClusterVolumeResult& volume) {
        static_cast<Texts*>(context)->emplace_back(volume.volumeName);
        return int{kOk};
    };
    const std::string request = sent(sample("cluster_volumes.xml"), [&] {
        return MountClusterVolumes(volumes, keepVolume, &names, &errorText, log);
    });
    EXPECT_NE(request.find("<volumeName>A</volumeName><volumeNumber>7</volumeNumber>"
                           "<mountPoint>/mnt/a</mountPoint>"),
              std::string::npos);
    EXPECT_FALSE(names.empty());
    const ClusterVolume longName[] = {{"A"}, {kTooLongName}};
    EXPECT_EQ(
        sent(
            "", [&] { return MountClusterVolumes(longName, keepVolume, &names, &errorText, log); },
            kNameTooLong),
        "(none)");
}

TEST_F(FixedOperation, SetStorageLogLevelAsksTheStorageDaemon) {
    const auto run = [&] { return SetStorageLogLevel("DEBUG", &errorText, log); };
    EXPECT_EQ(sent("<zrp2bks_reply/>", run, kOk, kStorageDaemonSocket),
              "<zrp2bks_request pid=\"PID\"><change_logging_level>\n<options>DEBUG</options>"
              "\n</change_logging_level></zrp2bks_request>");
    EXPECT_EQ(SetStorageLogLevel("DEBUG", &errorText, log), ECONNREFUSED);
}

} // namespace
} // namespace zrp::fixed_operations_test
