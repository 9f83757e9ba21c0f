// The program against the simulated server.
#include <csignal>

#include <gtest/gtest.h>

#include "common/client.h"
#include "tests/exporter/exporter_process.h"
#include "tests/support/needs.h"
#include "tests/support/simulated_server.h"

namespace zrp::exporter_test {
namespace {

using harness::ExitStatus;

TEST(Exporter, OffersTheFiguresOfTheServer) {
    const SimulatedServer server({"--clock", "273900"});
    ASSERT_TRUE(server.ready());
    Exporter exporter;
    const HttpAnswer answer = get_page(exporter.port(), "/metrics");
    EXPECT_NE(answer.head.find("Content-Type: text/plain; version=0.0.4"), std::string::npos);
    const Scrape metrics = read_metrics(answer.body);
    EXPECT_EQ(metrics.at("zrp_up{daemon=\"server\"}"), 1);
    EXPECT_EQ(metrics.at("zrp_up{daemon=\"storage\"}"), 1);
    EXPECT_EQ(metrics.at("zrp_up{daemon=\"management\"}"), 1);
    EXPECT_EQ(metrics.at("zrp_server_uptime_seconds"), 273900);
    EXPECT_EQ(metrics.at("zrp_server_logins_allowed"), 1);
    EXPECT_EQ(count_series(metrics, "zrp_server_info{engine=\"2026-"), 1U);
    EXPECT_EQ(count_series(metrics, "zrp_server_statistic{"), 17U);
    EXPECT_EQ(metrics.at("zrp_server_statistic{name=\"volumeCount\"}"), 30);
    EXPECT_GT(metrics.at("zrp_server_bytes_read_total"), 1e9);
    EXPECT_EQ(metrics.at("zrp_connections{state=\"logged_in\"}") +
                  metrics.at("zrp_connections{state=\"not_logged_in\"}"),
              metrics.at("zrp_connection_slots_in_use"));
    EXPECT_EQ(count_series(metrics, "zrp_volume_mounted{"), 30U);
    EXPECT_EQ(count_series(metrics, "zrp_volume_size_bytes{"), 26U);
    const client::Session session;
    VolumeRecord record;
    int version = kVolumeInformationVersion;
    ASSERT_EQ(GetVolumeInformation("SYS", &version, &record, nullptr, nullptr), kOk);
    const auto& sys = *static_cast<const VolumeInformation*>(record.get());
    const auto cluster = static_cast<double>(sys.sectorSize * sys.sectorPerCluster);
    EXPECT_EQ(metrics.at("zrp_volume_size_bytes{volume=\"SYS\"}"),
              cluster * static_cast<double>(sys.clustersPerVolume));
    EXPECT_EQ(metrics.at("zrp_volume_free_bytes{volume=\"SYS\"}"),
              cluster * static_cast<double>(sys.freeClusters));
    EXPECT_EQ(metrics.at("zrp_volume_purgeable_bytes{volume=\"SYS\"}"),
              cluster * static_cast<double>(sys.purgeableBlocks));
    EXPECT_EQ(metrics.at("zrp_volume_cached_files{volume=\"SYS\"}"),
              static_cast<double>(sys.dcCacheFiles));
    EXPECT_EQ(metrics.at("zrp_volume_cached_folders{volume=\"SYS\"}"),
              static_cast<double>(sys.dcCachedSubdirs));
    EXPECT_EQ(metrics.at("zrp_volume_trustees{volume=\"SYS\"}"),
              static_cast<double>(sys.dcTrusteeCount));
    EXPECT_EQ(count_series(metrics, "zrp_volume_info{volume=\"SYS\",number=\"0\",mount_point=\"/"),
              1U);
    EXPECT_EQ(count_series(metrics, "zrp_diagnostic{daemon=\"server\""), 53U);
    EXPECT_EQ(count_series(metrics, "zrp_diagnostic{daemon=\"storage\""), 41U);
    EXPECT_EQ(
        count_series(metrics, "zrp_diagnostic{daemon=\"server\",group=\"ZRP Server Trustees\""),
        4U);
    EXPECT_GT(count_series(metrics, "zrp_diagnostic{daemon=\"server\",group=\"other\""), 0U);
    EXPECT_EQ(count_series(metrics, "zrp_threads_"), 12U);
    EXPECT_EQ(count_series(metrics, "zrp_connection_read_bytes_total"), 0U);
    EXPECT_EQ(metrics.at("zrp_exporter_series_dropped"), 0);
    EXPECT_EQ(metrics.at("zrp_exporter_exchange_seconds_count{command=\"statistics\"}"), 1);
    EXPECT_EQ(metrics.at("zrp_exporter_exchange_seconds_count{command=\"volume_information\"}"),
              26);
}

TEST(Exporter, HasMetricsOfConnectionsOnlyWhenTold) {
    const SimulatedServer server({"--connections", "30"});
    ASSERT_TRUE(server.ready());
    Exporter exporter({"--per-connection=20"});
    const Scrape metrics = scrape(exporter.port());
    EXPECT_EQ(count_series(metrics, "zrp_connection_read_bytes_total{station="), 20U);
    EXPECT_EQ(count_series(metrics, "zrp_connection_written_bytes_total{"), 20U);
    EXPECT_EQ(count_series(metrics, "zrp_connection_requests_total{"), 20U);
    EXPECT_EQ(metrics.at("zrp_exporter_series_dropped"), 10 * 3);
}

TEST(Exporter, HasAtMostTwentyThousandSeries) {
    const SimulatedServer server({"--connections", "9000"});
    ASSERT_TRUE(server.ready());
    Exporter exporter({"--per-connection=9000", "--timeout", "100"});
    const Scrape metrics = scrape(exporter.port());
    EXPECT_EQ(metrics.size(), 20000U);
    EXPECT_GT(metrics.at("zrp_exporter_series_dropped"), 7000);
    EXPECT_EQ(count_series(metrics, "zrp_exporter_exchange_failures_total{"), 44U);
}

TEST(Exporter, ServesNothingButItsPages) {
    Exporter exporter;
    const int port = exporter.port();
    EXPECT_EQ(get_page(port, "/").status, 200);
    EXPECT_NE(get_page(port, "/").body.find("href=\"/metrics\""), std::string::npos);
    EXPECT_EQ(get_page(port, "/-/healthy").body, "healthy\n");
    EXPECT_EQ(get_page(port, "/-/healthy?x=1").status, 200);
    for (const char* path :
         {"/metrics/anything", "/metrics/", "//metrics", "/Metrics", "/x", "/../metrics", "*"}) {
        EXPECT_EQ(get_page(port, path).status, 404) << path;
    }
    for (const char* method :
         {"POST", "PUT", "DELETE", "OPTIONS", "TRACE", "PATCH", "CONNECT", "PROPFIND", "get"}) {
        const HttpAnswer answer = ask_http(
            port, std::string(method) + " /metrics HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc");
        EXPECT_EQ(answer.status, 405) << method;
        EXPECT_NE(answer.head.find("Allow: GET, HEAD"), std::string::npos) << method;
    }
    const HttpAnswer head = ask_http(port, "HEAD /-/healthy HTTP/1.1\r\n\r\n");
    EXPECT_EQ(head.status, 200);
    EXPECT_EQ(head.body, "");
}

TEST(Exporter, AnswersJunkWithAStatus) {
    Exporter exporter;
    const int port = exporter.port();
    EXPECT_EQ(ask_http(port, "\x16\x03\x01\x02hello\r\n\r\n").status, 400);
    EXPECT_EQ(ask_http(port, "GET\r\n\r\n").status, 400);
    EXPECT_EQ(ask_http(port, "GET / HTTP/9.9\r\n\r\n").status, 400);
    EXPECT_EQ(ask_http(port, "GET /" + std::string(8U << 20, 'x') + " HTTP/1.1\r\n\r\n").status,
              431);
    EXPECT_EQ(ask_http(port, "GET / HTTP/1.1\r\nX: " + std::string(20000, 'x') + "\r\n\r\n").status,
              431);
    EXPECT_EQ(ask_http(port, std::string(4000, '\r')).status, 0);
    EXPECT_EQ(get_page(port, "/-/healthy").status, 200);
}

TEST(Exporter, ListensOnIpv6) {
    raise_loopback();
    Exporter exporter({"--listen", "[::1]:0"});
    const harness::Descriptor connection = connect_to(exporter.port(), "::1");
    send_text(connection, "GET /-/healthy HTTP/1.1\r\n\r\n");
    EXPECT_TRUE(read_to_end(connection).starts_with("HTTP/1.1 200 OK"));
}

harness::ChildProcess refused(std::vector<std::string> arguments) {
    raise_loopback();
    arguments.insert(arguments.begin(), ZRP_EXPORTER_PROGRAM);
    return harness::ChildProcess({.arguments = std::move(arguments),
                                  .standardOutput = harness::kPipe,
                                  .standardErrors = harness::kPipe});
}

std::string errors_of(harness::ChildProcess& child) {
    std::string text;
    for (char byte = 0; read(child.errors().get(), &byte, 1) == 1;) {
        text += byte;
    }
    return text;
}

TEST(Exporter, NamesAnAddressThatCannotBeBound) {
    Exporter first;
    const std::string address = "127.0.0.1:" + std::to_string(first.port());
    harness::ChildProcess second = refused({"--listen", address});
    EXPECT_EQ(errors_of(second), "zrp-exporter: " + address + ": Address already in use\n");
    EXPECT_EQ(second.wait(), (ExitStatus{1, 0}));
    harness::ChildProcess elsewhere = refused({"--listen", "192.0.2.1:9848"});
    EXPECT_EQ(errors_of(elsewhere),
              "zrp-exporter: 192.0.2.1:9848: Cannot assign requested address\n");
    EXPECT_EQ(elsewhere.wait(), (ExitStatus{1, 0}));
}

TEST(Exporter, RefusesOptionsThatMeanNothing) {
    const std::vector<std::vector<std::string>> cases = {
        {"--listen", "nowhere"},
        {"--timeout", "0"},
        {"--timeout", "soon"},
        {"--unknown"},
        {"--per-connection=0"},
        {"--per-connection=20001"},
        {"word"},
        {"--per-connection=1000000"},
    };
    for (const auto& arguments : cases) {
        harness::ChildProcess child = refused(arguments);
        EXPECT_NE(errors_of(child), "") << arguments[0];
        EXPECT_EQ(child.wait(), (ExitStatus{2, 0})) << arguments[0];
    }
}

TEST(Exporter, EndsOnASignalWithStatus0) {
    for (const int signal : {SIGTERM, SIGINT}) {
        Exporter exporter;
        exporter.process().send_signal(signal);
        EXPECT_EQ(exporter.process().wait(), (ExitStatus{0, 0}));
    }
}

} // namespace
} // namespace zrp::exporter_test
