// What acts do that no list shows at once: seen by a second command, by the monitor, or in the
// request that the server gets.
#include <string>

#include <gtest/gtest.h>

#include "common/transport.h"
#include "tests/ctl/act_test.h"
#include "tests/support/needs.h"
#include "tests/support/scripted_peer.h"
#include "tools/harness/keys.h"
#include "tools/harness/terminal.h"

namespace zrp::effects_test {
namespace {

class Effects : public ActTest {
protected:
    // The first file that a connection holds open, and the connection.
    static nlohmann::ordered_json first_open_file() {
        return done({"files"})["files"][0];
    }

    // A file with a lock.
    static std::string locked_file() {
        const auto answer = done({"files"});
        for (const auto& connection : answer["files"]) {
            for (const auto& file : connection["files"]) {
                if (!done({"locks", file})["locks"].empty()) {
                    return file;
                }
            }
        }
        return "";
    }

    static int64_t sum_of_counters(const char* daemon, const char* group) {
        int64_t sum = 0;
        const auto answer = done({"diagnostics", daemon, group});
        for (const auto& counter : answer["counters"]) {
            sum += counter["value"].get<int64_t>();
        }
        return sum;
    }
};

TEST_F(Effects, APurgeLeavesNothingToPurge) {
    EXPECT_GT(volume("DATA")["purgeableBlocks"], 0);
    EXPECT_GT(volume("DATA")["purgeableBytes"], 0);
    EXPECT_EQ(done({"purge", "DATA"})["volumeName"], "DATA");
    EXPECT_EQ(volume("DATA")["purgeableBlocks"], 0);
    EXPECT_EQ(volume("DATA")["purgeableBytes"], 0);
}

TEST_F(Effects, AFlushCountsTheVolumes) {
    EXPECT_EQ(done({"flush"})["volumeCount"], done({"volumes", "--mounted"})["volumes"].size());
}

TEST_F(Effects, TreeFlagsStay) {
    EXPECT_EQ(done({"tree", "DATA", "0x30"})["controlFlags"], 0x30);
    // A request without flags only reports them.
    const Ran ran = run_zrpctl({"send", "-", "--yes"},
                               {.environment = {},
                                .input = "<zrpConsoleRequest pid=\"1\"><VTCRequest><versionTag>1"
                                         "</versionTag><volumeName>DATA</volumeName></VTCRequest>"
                                         "</zrpConsoleRequest>"});
    EXPECT_EQ(ran.status, 0) << ran.errors;
    EXPECT_NE(ran.output.find("<controlFlags>48<"), std::string::npos) << ran.output;
}

TEST_F(Effects, AFileIsClosedOnEveryConnection) {
    const std::string file = first_open_file()["files"][0];
    EXPECT_EQ(done({"close", file})["fileName"], file);
    EXPECT_EQ(done({"files"}).dump().find('"' + file + '"'), std::string::npos);
}

TEST_F(Effects, LocksAreGivenUp) {
    const std::string file = locked_file();
    ASSERT_NE(file, "");
    const auto locks = done({"locks", file})["locks"];
    for (const auto& lock : locks) {
        const std::string station = lock["number"].dump();
        EXPECT_EQ(done({"unlock", station})["stationNumberTag"].dump(), station);
    }
    EXPECT_EQ(done({"locks", file})["locks"].size(), 0U);
    EXPECT_NE(done({"files"}).dump().find('"' + file + '"'), std::string::npos);
}

TEST_F(Effects, AClusterVolumeIsMountedAsTold) {
    EXPECT_EQ(volume("BACKUP")["mounted"], false);
    (void)done({"cluster", "volume", "BACKUP", "--number", "99", "--path", "/srv/b",
                "--shadow-path", "/srv/bs", "--shadow-volume", "BACKUP_T"});
    const auto shown = volume("BACKUP");
    EXPECT_EQ(shown["mounted"], true);
    EXPECT_EQ(shown["number"], 99);
    EXPECT_EQ(shown["mountPoint"], "/srv/b");
    EXPECT_EQ(shown["shadow"], "/srv/bs");
    (void)done({"shadow", "forget", "BACKUP", "BACKUP_T"});
}

TEST_F(Effects, CountersStartAgain) {
    EXPECT_GT(sum_of_counters("server", "3"), 0);
    EXPECT_GT(sum_of_counters("storage", "13"), 0);
    (void)done({"diagnostics", "server", "--reset"});
    EXPECT_EQ(sum_of_counters("server", "3"), 0);
    EXPECT_GT(sum_of_counters("storage", "13"), 0);
    (void)done({"diagnostics", "storage", "--reset"});
    EXPECT_EQ(sum_of_counters("storage", "13"), 0);
}

TEST_F(Effects, LoginsAreRefusedWithAMessage) {
    const auto answer = done({"login", "disable", "--message", "Back at noon"});
    EXPECT_EQ(answer["done"], true);
    EXPECT_EQ(done({"status"})["status"]["logAllowed"], false);
    (void)done({"login", "enable"});
    EXPECT_EQ(done({"status"})["status"]["logAllowed"], true);
}

// The request of an act that no other command can show.
std::string request_of(const char* socket, const std::string& answer, Strings words) {
    words.emplace_back("--yes");
    const ScriptedPeer peer(socket, {{read_request(), send_bytes(reply(answer))}});
    EXPECT_EQ(run_zrpctl(words).status, 0);
    return peer.requests().at(0);
}

void expect_all(const std::string& text, const Strings& parts) {
    for (const std::string& part : parts) {
        EXPECT_NE(text.find(part), std::string::npos) << part << " in " << text;
    }
}

TEST(Requests, AMessageGoesToThoseWhoAreNamed) {
    constexpr const char* kAnswer = "<zrpConsoleReply><broadcastMessage/></zrpConsoleReply>";
    const std::string some = request_of(kMainDaemonSocket, kAnswer,
                                        {"broadcast", "Down <at> noon", "--to", "4", "--to", "5"});
    expect_all(some,
               {"<message>Down &lt;at&gt; noon</message>", "<stationNumberTag>4</stationNumberTag>",
                "<stationNumberTag>5</stationNumberTag>"});
    const std::string all = request_of(kMainDaemonSocket, kAnswer, {"broadcast", "hello"});
    expect_all(all, {"<message>hello</message>"});
    EXPECT_EQ(all.find("stationNumberTag"), std::string::npos) << all;
}

TEST(Requests, ALogLevelIsItsWord) {
    expect_all(request_of(kStorageDaemonSocket,
                          "<zrp2bks_reply><change_logging_level/></zrp2bks_reply>",
                          {"log-level", "debug"}),
               {"<change_logging_level>", "<options>debug</options>"});
}

TEST(Requests, AFlushIsOneElement) {
    expect_all(request_of(kMainDaemonSocket, "<zrpConsoleReply><flushVolumes/></zrpConsoleReply>",
                          {"flush"}),
               {"<flushVolumes/>"});
}

// What is so already after the act.
struct Repeated {
    Strings act;
    Strings other; // the same object, and not so
};

const Repeated kRepeated[] = {
    {{"mount", "BACKUP"}, {"mount", "BACKUP", "--number", "123"}},
    {{"dismount", "DATA"}, {"dismount", "NOPE"}},
    {{"mount", "DATA", "--number", "77"}, {"mount", "DATA", "HOME", "NOPE"}},
    {{"create", "NEW", "/srv/new"}, {"create", "NEW", "/srv/other"}},
    {{"remove", "NEW"}, {"mount", "NEW"}},
    {{"shadow", "remove", "DATA"}, {"shadow", "remove", "NOPE"}},
    {{"shadow", "create", "DATA", "/srv/s"}, {"shadow", "create", "DATA", "/srv/t"}},
    {{"exclude", "DATA", "--dismount"}, {"exclude", "NOPE"}},
    {{"include", "DATA", "--mount"}, {"include", "NOPE"}},
    {{"clear", "4", "5"}, {"clear", "4", "7"}},
    {{"cluster", "bind", "VS1", "10.0.0.7"}, {"cluster", "bind", "VS2", "10.0.0.7"}},
    {{"cluster", "unbind", "VS1", "10.0.0.7"}, {"unlock", "31999"}},
    {{"cluster", "volume", "ARCHIVE"}, {"cluster", "volume", "NOPE"}},
};

TEST_F(Effects, AFileThatNobodyHasOpenIsClosed) {
    const std::string file = first_open_file()["files"][0];
    (void)done({"close", file, "--if-needed"});
    EXPECT_EQ(status_of({"close", file}), 1);
    (void)done({"close", file, "--if-needed"});
}

TEST_F(Effects, IfNeededTakesOnlyWhatIsSo) {
    for (const auto& [act, other] : kRepeated) {
        SCOPED_TRACE(act.front() + ' ' + act.at(1));
        Strings eased = act;
        eased.emplace_back("--if-needed");
        (void)done(eased);
        EXPECT_EQ(status_of(act), 1);
        (void)done(eased);
        Strings easedOther = other;
        easedOther.emplace_back("--if-needed");
        EXPECT_EQ(status_of(easedOther), 1);
    }
}

struct OnScreen {
    Strings act;
    harness::Key key; // of the screen
    const char* shown;
};

const OnScreen kOnScreen[] = {
    {{"mount", "BACKUP"}, harness::Key::kF3, "12. BACKUP"},
    {{"set", "FIRST_WATCHDOG_PACKET", "1"}, harness::Key::kF6, "FIRST_WATCHDOG_PACKET = 1"},
    {{"clear", "--all", "--except", "7", "--except", "8"},
     harness::Key::kF2,
     "connectionSlotsInUse: 2"},
};

TEST_F(Effects, TheMonitorShowsThem) {
    ZRP_NEEDS_ROOT();
    harness::Terminal monitor(
        {.rows = 60, .columns = 100, .child = {.arguments = {ZRPTOP_PROGRAM}}});
    ASSERT_TRUE(monitor.wait_for("Server Up Time")) << monitor.text();
    ASSERT_TRUE(monitor.wait_for("connectionSlotsInUse: 50")) << monitor.text();
    (void)done({"dismount", "HOME"});
    for (const OnScreen& one : kOnScreen) {
        (void)done(one.act);
        monitor.press(one.key);
        EXPECT_TRUE(monitor.wait_for(one.shown)) << monitor.text();
        EXPECT_EQ(monitor.text().find("2. HOME"), std::string::npos) << monitor.text();
    }
}

} // namespace
} // namespace zrp::effects_test
