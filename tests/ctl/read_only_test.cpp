// What read-only commands show of a server whose clock does not move.
#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/ctl/act_test.h"
#include "tests/support/scripted_peer.h"

namespace zrp::read_only_test {
namespace {

using Answer = nlohmann::ordered_json;

class ReadOnly : public ActTest {
protected:
    static Answer connections(Strings options) {
        options.insert(options.begin(), "connections");
        return done(options)["connections"];
    }

    static Answer counters(const Strings& words) {
        Strings all = {"diagnostics"};
        all.insert(all.end(), words.begin(), words.end());
        return done(all)["counters"];
    }
};

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST_F(ReadOnly, ConnectionsAreChosenByLoginAndName) {
    const Answer all = connections({});
    const Answer some = connections({"--logged-in"});
    EXPECT_GT(all.size(), some.size());
    for (const Answer& one : some) {
        EXPECT_NE(one["name"], "NOT LOGGED IN");
    }
    const Answer named = connections({"--user", "HMEIER"});
    EXPECT_GT(named.size(), 0U);
    for (const Answer& one : named) {
        EXPECT_TRUE(contains(one["name"], "hmeier"));
    }
    EXPECT_EQ(connections({"--user", "nobody at all"}).size(), 0U);
}

TEST_F(ReadOnly, ConnectionsAreSortedAndThenLimited) {
    const Answer byTraffic = connections({"--sort", "BYTESREAD"});
    EXPECT_TRUE(
        std::is_sorted(byTraffic.begin(), byTraffic.end(), [](const Answer& a, const Answer& b) {
            return a["bytesRead"] > b["bytesRead"];
        }));
    const Answer most = connections({"--sort", "bytesRead", "--limit", "3"});
    EXPECT_EQ(most.size(), 3U);
    EXPECT_EQ(most[2], byTraffic[2]);
    const Answer byNumber = connections({"--sort", "number"});
    EXPECT_EQ(byNumber, connections({}));
    EXPECT_EQ(connections({"--limit", "0"}).size(), 0U);
    EXPECT_EQ(connections({"--limit", "2147483647"}).size(), byNumber.size());
}

TEST_F(ReadOnly, AConnectionHasItsFilesAndSecurityEquals) {
    const Answer one = done({"connection", "4"})["connection"];
    EXPECT_EQ(one["number"], 4);
    EXPECT_EQ(one["openFiles"].size(), one["openFilesCount"]);
    EXPECT_EQ(one["securityEquals"].size(), one["secEqualsCount"]);
    EXPECT_GT(one["openFiles"].size(), 0U);
    EXPECT_EQ(one["loginEpochUtc"].get<std::string>().back(), 'Z');
    EXPECT_EQ(status_of({"connection", "31999"}), 1);
}

TEST_F(ReadOnly, CountersOfAGroupAreNamedByItsNumberOrTitle) {
    const Answer byNumber = counters({"storage", "13"});
    std::string title;
    const Answer groups = done({"diagnostics", "storage"})["groups"];
    EXPECT_EQ(groups.size(), 8U);
    for (const Answer& group : groups) {
        title = group["number"] == 13 ? group["name"].get<std::string>() : title;
    }
    std::transform(title.begin(), title.end(), title.begin(), ::toupper);
    EXPECT_GT(byNumber.size(), 0U);
    EXPECT_EQ(counters({"storage", title}), byNumber);
    EXPECT_EQ(counters({"storage", "013"}), byNumber);
}

TEST_F(ReadOnly, CountersAreChosenByWords) {
    for (const char* daemon : {"server", "storage"}) {
        const Answer chosen = counters({daemon, "--words", "requests, Volume"});
        EXPECT_GT(chosen.size(), 0U);
        for (const Answer& one : chosen) {
            EXPECT_TRUE(contains(one["name"], "requests") || contains(one["name"], "Volume"))
                << one;
        }
    }
    EXPECT_EQ(status_of({"diagnostics", "server", "--words", "a b c d e f g h i j k"}), 2);
}

TEST_F(ReadOnly, ParametersAreAllEvenThoseThatTheScreenHides) {
    const std::string all = done({"parameters"}).dump();
    EXPECT_TRUE(contains(all, "\"FIRST_WATCHDOG_PACKET\""));
    EXPECT_TRUE(contains(all, "\"ZRP_FILE_SERVER_NAME\"")) << all;
    EXPECT_TRUE(contains(all, "\"SHADOW_VOLUME\"")) << all;
}

TEST_F(ReadOnly, FilesAreThoseOfTheVolume) {
    const Answer files = done({"files", "--volume", "DATA"})["files"];
    EXPECT_GT(files.size(), 0U);
    for (const Answer& connection : files) {
        for (const Answer& file : connection["files"]) {
            EXPECT_TRUE(file.get<std::string>().starts_with("DATA:")) << file;
        }
    }
    EXPECT_GT(done({"files"})["files"].size(), files.size());
}

TEST_F(ReadOnly, SizesAreInBytesAsWell) {
    const Answer shown = volume("DATA");
    const auto unit =
        shown["sectorSize"].get<uint64_t>() * shown["sectorPerCluster"].get<uint64_t>();
    EXPECT_EQ(shown["totalBytes"], unit * shown["clustersPerVolume"].get<uint64_t>());
    EXPECT_EQ(shown["freeBytes"], unit * shown["freeClusters"].get<uint64_t>());
    EXPECT_EQ(shown["purgeableBytes"], unit * shown["purgeableBlocks"].get<uint64_t>());
    EXPECT_EQ(done({"mount-point", "DATA"})["mountPoint"]["mountPoint"], shown["mountPoint"]);
}

TEST_F(ReadOnly, StatusAgreesWithTheStatistics) {
    const Answer status = done({"status"})["status"];
    EXPECT_EQ(status["serverUpTime"], 100000);
    EXPECT_EQ(status["connectionSlotsInUse"],
              done({"statistics", "connectionSlotsInUse"})["statistics"][0]["value"]);
    ASSERT_EQ(status["daemons"].size(), 3U);
    for (const Answer& daemon : status["daemons"]) {
        EXPECT_EQ(daemon["answers"], true);
        EXPECT_GT(daemon["processId"], 1);
        EXPECT_GT(daemon["milliseconds"], 0.0);
    }
    EXPECT_EQ(done({"threads"})["threads"].size(), 12U);
}

TEST_F(ReadOnly, AWaitEndsWhenItIsSo) {
    harness::ChildOptions options;
    options.arguments = {ZRPCTL_PROGRAM, "wait", "volume", "data", "gone"};
    options.standardOutput = harness::kPipe;
    harness::ChildProcess waiting(options);
    (void)done({"dismount", "DATA"});
    EXPECT_EQ(waiting.read_line(), "volume data is gone");
    EXPECT_EQ(waiting.wait(), harness::ExitStatus{});
}

TEST(Wait, EndsWhenTheServerComes) {
    harness::ChildOptions options;
    options.arguments = {ZRPCTL_PROGRAM, "wait", "server"};
    options.standardOutput = harness::kPipe;
    harness::ChildProcess waiting(options);
    {
        ScriptedPeer starting(kMainDaemonSocket, {{read_request(), send_bytes(reply("<cut>"))}});
        ASSERT_TRUE(starting.wait_for_finished(1));
    }
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    EXPECT_EQ(waiting.read_line(), "the server answers");
    EXPECT_EQ(waiting.wait(), harness::ExitStatus{});
}

} // namespace
} // namespace zrp::read_only_test
