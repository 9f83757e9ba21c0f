// Servers and clients that do what they should not.
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <list>
#include <poll.h>
#include <set>
#include <sys/socket.h>
#include <thread>

#include <gtest/gtest.h>

#include "common/transport.h"
#include "exporter/connections.h"
#include "exporter/shared_collection.h"
#include "tests/exporter/exporter_process.h"
#include "tests/support/scripted_peer.h"
#include "tests/support/simulated_server.h"

namespace zrp::hostile_test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using harness::Descriptor;
using harness::ExitStatus;

std::string statistic(const std::string& name, const std::string& value) {
    return "<parm><name>" + name + "</name><value type=\"unsignedLong\">" + value +
           "</value></parm>";
}

// A main daemon that answers every request with these statistics.
PeerScript statistics_of(const std::string& list) {
    return {read_request(), send_bytes(reply("<zrpConsoleReply><serverStatistics>" + list +
                                             "</serverStatistics></zrpConsoleReply>"))};
}

TEST(HostileServer, CanAddNoLabelAndNoLine) {
    const ScriptedPeer peer(
        kMainDaemonSocket,
        {statistics_of(statistic("a\",evil=\"1", "1") + statistic("b\nevil_metric 1", "2") +
                       statistic("c\\", "3") + statistic("d\xFF", "4") +
                       statistic("e} 9\n", "5"))});
    Exporter exporter({"--timeout", "2"});
    const HttpAnswer answer = get_page(exporter.port(), "/metrics");
    const std::string fffd = "\xEF\xBF\xBD";
    for (const std::string& line :
         {std::string("zrp_server_statistic{name=\"a\\\",evil=\\\"1\"} 1\n"),
          "zrp_server_statistic{name=\"b" + fffd + "evil_metric 1\"} 2\n",
          std::string("zrp_server_statistic{name=\"c\\\\\"} 3\n"),
          "zrp_server_statistic{name=\"d" + fffd + "\"} 4\n",
          "zrp_server_statistic{name=\"e} 9" + fffd + "\"} 5\n"}) {
        EXPECT_NE(answer.body.find("\n" + line), std::string::npos) << line;
    }
    EXPECT_EQ(count_series(read_metrics(answer.body), "evil"), 0U);
}

TEST(HostileServer, OfTwoNamesThatBecomeTheSameTheFirstCounts) {
    const std::string start(128, 'x');
    const ScriptedPeer peer(kMainDaemonSocket,
                            {statistics_of(statistic(start + "1", "1") +
                                           statistic(start + "2", "2") + statistic(start, "3"))});
    Exporter exporter({"--timeout", "2"});
    const Scrape metrics = scrape(exporter.port());
    EXPECT_EQ(metrics.at("zrp_server_statistic{name=\"" + start + "\"}"), 1);
    EXPECT_EQ(metrics.at("zrp_exporter_series_dropped"), 2);
}

TEST(HostileServer, OnlyNumbersBecomeMetrics) {
    std::string list;
    const std::set<std::string> numbers = {"0", "18446744073709551615", "1.5", "-3"};
    for (const auto& text : {"0", "18446744073709551615", "1.5", "-3", "", "nan", "inf", "1x",
                             "0x1F", "true", "1e", "--1", "12 "}) {
        list += statistic("v" + std::string(text), text);
    }
    const ScriptedPeer peer(kMainDaemonSocket, {statistics_of(list)});
    Exporter exporter({"--timeout", "2"});
    const Scrape metrics = scrape(exporter.port());
    EXPECT_EQ(count_series(metrics, "zrp_server_statistic{"), numbers.size());
    EXPECT_EQ(metrics.at("zrp_server_statistic{name=\"v-3\"}"), -3);
}

TEST(HostileServer, CannotHaveMoreSeriesThanTheLimit) {
    std::string list;
    for (int i = 0; i < 30000; i++) {
        list += statistic("n" + std::to_string(i), "1");
    }
    const ScriptedPeer peer(kMainDaemonSocket, {statistics_of(list)});
    Exporter exporter({"--timeout", "60"});
    const Scrape metrics = scrape(exporter.port());
    EXPECT_EQ(metrics.size(), 20000U);
    EXPECT_GT(metrics.at("zrp_exporter_series_dropped"), 10000);
}

TEST(HostileServer, StatisticsThatVanishVanishFromTheNextScrape) {
    const PeerScript refusal = {read_request(),
                                send_bytes(reply("<zrpConsoleReply><result value=\"5\"/>"
                                                 "</zrpConsoleReply>"))};
    std::vector<PeerScript> scripts = {statistics_of(statistic("old", "1"))};
    for (int i = 0; i < 5; i++) {
        scripts.push_back(refusal);
    }
    scripts.push_back(statistics_of(statistic("new", "2")));
    scripts.push_back(refusal);
    const ScriptedPeer peer(kMainDaemonSocket, scripts);
    Exporter exporter({"--timeout", "2"});
    EXPECT_EQ(scrape(exporter.port()).count("zrp_server_statistic{name=\"old\"}"), 1U);
    const Scrape metrics = scrape(exporter.port());
    EXPECT_EQ(metrics.count("zrp_server_statistic{name=\"old\"}"), 0U);
    EXPECT_EQ(metrics.at("zrp_server_statistic{name=\"new\"}"), 2);
}

struct FaultCase {
    const char* fault;
    const char* reason;
    int up; // of the server
};

class ServerFault : public testing::TestWithParam<FaultCase> {};

TEST_P(ServerFault, DropsItsFamiliesIsCountedAndEndsInTime) {
    const FaultCase fault = GetParam();
    const SimulatedServer server({"--fault", std::string(fault.fault) + ":zrpserv"});
    ASSERT_TRUE(server.ready());
    Exporter exporter({"--timeout", "0.8"});
    const auto start = Clock::now();
    const Scrape metrics = scrape(exporter.port());
    EXPECT_LT(Clock::now() - start, 10s);
    EXPECT_LT(metrics.at("zrp_exporter_scrape_seconds"), 1.5);
    EXPECT_EQ(metrics.at("zrp_up{daemon=\"server\"}"), fault.up);
    EXPECT_EQ(metrics.at("zrp_up{daemon=\"storage\"}"), 1);
    EXPECT_EQ(count_series(metrics, "zrp_server_statistic"), 0U);
    EXPECT_EQ(count_series(metrics, "zrp_volume_"), 0U);
    EXPECT_EQ(count_series(metrics, "zrp_diagnostic{daemon=\"storage\""), 41U);
    EXPECT_EQ(metrics.at(std::string("zrp_exporter_exchange_failures_total{command=\"statistics\","
                                     "reason=\"") +
                         fault.reason + "\"}"),
              1);
}

INSTANTIATE_TEST_SUITE_P(
    Each, ServerFault,
    testing::Values(FaultCase{"refuse", "unreachable", 0}, FaultCase{"hang", "timeout", 0},
                    FaultCase{"short-header", "malformed", 0},
                    FaultCase{"wrong-magic", "malformed", 0},
                    FaultCase{"early-close", "malformed", 0}, FaultCase{"garbage", "malformed", 1},
                    FaultCase{"truncated", "malformed", 1}, FaultCase{"error-reply", "refused", 1},
                    FaultCase{"status", "refused", 1}),
    [](const auto& row) {
        std::string name = row.param.fault;
        std::erase(name, '-');
        return name;
    });

TEST(HostileServer, ThatDripsIsBounded) {
    PeerScript script = {read_request(), send_bytes(reply_header(100000))};
    for (const PeerStep& step : send_in_pieces(std::string(2000, ' '), 1, 20ms)) {
        script.push_back(step);
    }
    const ScriptedPeer peer(kMainDaemonSocket, {script});
    Exporter exporter({"--timeout", "0.5"});
    const Scrape metrics = scrape(exporter.port());
    EXPECT_LT(metrics.at("zrp_exporter_scrape_seconds"), 1.5);
    EXPECT_EQ(metrics.at("zrp_up{daemon=\"server\"}"), 0);
}

// The peak of a process's resident memory, in KiB.
long peak_memory(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) {
            return std::stol(line.substr(6));
        }
    }
    return -1;
}

TEST(HostileServer, ThatLiesAboutALengthGetsNoMemory) {
    const SimulatedServer server({"--fault", "huge-length"});
    ASSERT_TRUE(server.ready());
    Exporter exporter({"--timeout", "2"});
    get_page(exporter.port(), "/-/healthy");
    const long before = peak_memory(exporter.process().pid());
    const Scrape metrics = scrape(exporter.port());
    EXPECT_EQ(metrics.at("zrp_up{daemon=\"server\"}"), 1);
    EXPECT_EQ(count_series(metrics, "zrp_server_statistic"), 0U);
    EXPECT_LT(peak_memory(exporter.process().pid()) - before, 32 * 1024);
}

TEST(HostileServer, ThatIsMuteOnOneCommandStillAnswersTheOthers) {
    const SimulatedServer server({"--fault", "hang:listVolumes"});
    ASSERT_TRUE(server.ready());
    Exporter exporter({"--timeout", "1"});
    const Scrape metrics = scrape(exporter.port());
    EXPECT_EQ(count_series(metrics, "zrp_volume_"), 0U);
    EXPECT_EQ(count_series(metrics, "zrp_threads_"), 12U);
    EXPECT_EQ(count_series(metrics, "zrp_diagnostic{daemon=\"server\""), 53U);
    EXPECT_EQ(metrics.at("zrp_exporter_exchange_failures_total{command=\"volume_list\","
                         "reason=\"timeout\"}"),
              1);
}

TEST(HostileServer, WhoseThreeDaemonsAreMuteCostsOneTimeLimit) {
    const SimulatedServer server({"--fault", "hang"});
    ASSERT_TRUE(server.ready());
    Exporter exporter({"--timeout", "1"});
    const Scrape metrics = scrape(exporter.port());
    EXPECT_LT(metrics.at("zrp_exporter_scrape_seconds"), 1.9);
    for (const char* daemon : {"server", "storage", "management"}) {
        EXPECT_EQ(metrics.at("zrp_up{daemon=\"" + std::string(daemon) + "\"}"), 0) << daemon;
    }
    EXPECT_EQ(count_series(metrics, "zrp_up"), 3U);
    EXPECT_EQ(count_series(metrics, "zrp_diagnostic"), 0U);
    EXPECT_EQ(count_series(metrics, "zrp_server_"), 0U);
}

TEST(HostileServer, ThatRefusesTheSlotsHasThemFromItsStatistics) {
    Exporter exporter({"--timeout", "2"});
    Scrape whole;
    Scrape partial;
    {
        const SimulatedServer server({"--clock", "1000"});
        ASSERT_TRUE(server.ready());
        whole = scrape(exporter.port());
    }
    {
        const SimulatedServer server({"--clock", "1000", "--fault", "error-reply:serverConnInfo"});
        ASSERT_TRUE(server.ready());
        partial = scrape(exporter.port());
    }
    EXPECT_EQ(partial.at("zrp_exporter_exchange_failures_total{command=\"connection_slots\","
                         "reason=\"refused\"}"),
              1);
    for (const char* name :
         {"zrp_connections{state=\"logged_in\"}", "zrp_connections{state=\"not_logged_in\"}",
          "zrp_connection_slots_in_use", "zrp_connection_slots_available",
          "zrp_connection_slots_peak", "zrp_connections_licensed", "zrp_server_logins_allowed"}) {
        EXPECT_EQ(partial.at(name), whole.at(name)) << name;
    }
}

TEST(HostileServer, IsLoggedWhenItGoesAndWhenItComesBack) {
    Exporter exporter({"--timeout", "1"});
    for (int i = 0; i < 3; i++) {
        scrape(exporter.port());
    }
    {
        const SimulatedServer server;
        ASSERT_TRUE(server.ready());
        EXPECT_EQ(scrape(exporter.port()).at("zrp_up{daemon=\"storage\"}"), 1);
    }
    for (const char* daemon : {"server", "storage", "management"}) {
        EXPECT_EQ(exporter.log_line(), std::string(daemon) + ": does not answer");
    }
    for (const char* daemon : {"server", "storage", "management"}) {
        EXPECT_EQ(exporter.log_line(), std::string(daemon) + ": answers again");
    }
}

// Whether one of several tries is short enough: a busy machine only adds time. The thread
// sanitizer, which looks for races, adds so much that none may be.
template <typename Try>
bool comes_below(std::chrono::nanoseconds limit, Try attempt) {
#ifdef __SANITIZE_THREAD__
    limit = harness::kPatience;
#endif
    constexpr int kTries = 5;
    for (int i = 0; i < kTries; i++) {
        if (attempt() < limit) {
            return true;
        }
    }
    return false;
}

std::chrono::nanoseconds time_of_page(int port, const std::string& path) {
    const auto start = Clock::now();
    EXPECT_EQ(get_page(port, path).status, 200);
    return Clock::now() - start;
}

// How much longer a page takes while many clients, prepared like this, are connected. They keep the
// processors busy: some tens of undisturbed pages' time is theirs.
template <typename Prepare>
std::chrono::nanoseconds delay_of_page(int port, const std::string& path, Prepare prepare) {
    constexpr int kShareOfClients = 50;
    const auto undisturbed = time_of_page(port, path);
    std::list<Descriptor> clients;
    for (size_t i = 0; i < 3 * exporter::kMostConnections; i++) {
        clients.push_back(connect_to(port));
        prepare(clients.back());
    }
    return time_of_page(port, path) - kShareOfClients * undisturbed;
}

TEST(HostileClient, ManyHalfOpenOnesDoNotHoldAScrape) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    Exporter exporter;
    EXPECT_TRUE(comes_below(exporter::kHeadTime, [&] {
        return delay_of_page(exporter.port(), "/metrics", [](const Descriptor& client) {
            send_text(client, "GET /metrics HTT");
        });
    }));
}

TEST(HostileClient, ThatSendsTooSlowlyIsSentAway) {
    Exporter exporter;
    const Descriptor slow = connect_to(exporter.port());
    const auto start = Clock::now();
    pollfd wait = {slow.get(), POLLIN, 0};
    while (poll(&wait, 1, 50) == 0) {
        ASSERT_LT(Clock::now() - start, 30s);
        send_text(slow, "x");
    }
    EXPECT_EQ(read_to_end(slow), "");
}

TEST(HostileClient, ThatReadsNothingDoesNotHoldTheOthers) {
    const SimulatedServer server({"--connections", "5000"});
    ASSERT_TRUE(server.ready());
    Exporter exporter({"--per-connection=5000", "--timeout", "60"});
    const Descriptor deaf = connect_to(exporter.port());
    send_text(deaf, "GET /metrics HTTP/1.1\r\n\r\n");
    EXPECT_EQ(get_page(exporter.port(), "/metrics").status, 200);
    EXPECT_EQ(get_page(exporter.port(), "/metrics").status, 200);
}

TEST(HostileClient, ManyThatKeepTheirConnectionDoNotHoldAPage) {
    Exporter exporter;
    EXPECT_TRUE(comes_below(exporter::kHeadTime / 2, [&] {
        return delay_of_page(exporter.port(), "/", [](const Descriptor& client) {
            send_text(client, "GET /-/healthy HTTP/1.1\r\n\r\n");
        });
    }));
}

TEST(HostileClient, ManyThatReadNothingDoNotHoldAScrape) {
    const SimulatedServer server({"--connections", "500"});
    ASSERT_TRUE(server.ready());
    Exporter exporter({"--per-connection=500", "--timeout", "60"});
    EXPECT_TRUE(comes_below(exporter::kHeadTime, [&] {
        return delay_of_page(exporter.port(), "/metrics", [](const Descriptor& client) {
            const int least = 1;
            setsockopt(client.get(), SOL_SOCKET, SO_RCVBUF, &least, sizeof least);
            send_text(client, "GET /metrics HTTP/1.1\r\n\r\n");
        });
    }));
}

TEST(SharedCollection, AScrapeThatComesDuringOneGetsItsResult) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    Exporter exporter({"--timeout", "2"});
    const Descriptor first = connect_to(exporter.port());
    send_text(first, "GET /metrics HTTP/1.1\r\n\r\n");
    ASSERT_TRUE(peer.wait_for_connections(1));
    std::list<Descriptor> others;
    for (int i = 0; i < 5; i++) {
        others.push_back(connect_to(exporter.port()));
        send_text(others.back(), "GET /metrics HTTP/1.1\r\n\r\n");
    }
    const std::string text = read_to_end(first);
    for (const Descriptor& other : others) {
        EXPECT_EQ(read_to_end(other), text);
    }
    EXPECT_EQ(peer.connections(), 1U);
    EXPECT_EQ(get_page(exporter.port(), "/metrics").status, 200);
    EXPECT_EQ(peer.connections(), 2U);
}

TEST(SharedCollection, AFailureReachesAllAndTheNextOneStartsAgain) {
    int count = 0;
    exporter::SharedCollection collection([&]() -> std::string {
        if (count++ == 0) {
            throw std::bad_alloc();
        }
        return "text";
    });
    EXPECT_THROW(collection.Get(), std::bad_alloc);
    EXPECT_EQ(*collection.Get(), "text");
}

TEST(Exporter, EndsAtOnceDuringACollection) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    Exporter exporter({"--timeout", "100"});
    const Descriptor client = connect_to(exporter.port());
    const Descriptor idle = connect_to(exporter.port());
    send_text(client, "GET /metrics HTTP/1.1\r\n\r\n");
    ASSERT_TRUE(peer.wait_for_connections(1));
    const auto start = Clock::now();
    exporter.process().send_signal(SIGTERM);
    EXPECT_EQ(exporter.process().wait(), (ExitStatus{0, 0}));
    EXPECT_LT(Clock::now() - start, 50s);
}

TEST(Exporter, EndsAtOnceWhileAClientKeepsItsConnection) {
    EXPECT_TRUE(comes_below(exporter::kHeadTime / 2, [] {
        Exporter exporter;
        const Descriptor client = connect_to(exporter.port());
        send_text(client, "GET /-/healthy HTTP/1.1\r\n\r\n");
        EXPECT_TRUE(read_to_end(client).ends_with("healthy\n"));
        const auto start = Clock::now();
        exporter.process().send_signal(SIGTERM);
        EXPECT_EQ(exporter.process().wait(), (ExitStatus{0, 0}));
        return Clock::now() - start;
    }));
}

} // namespace
} // namespace zrp::hostile_test
