// Two readings of the protocol meet here: the client library writes each request, and reads the
// reply of the simulated server.
#include <algorithm>
#include <cstdlib>
#include <string>

#include "common/heap_text.h"
#include "common/requests/connections.h"
#include "common/requests/diagnostics.h"
#include "common/requests/server_settings.h"
#include "common/requests/server_statistics.h"
#include "common/requests/volume_information.h"
#include "common/requests/volume_list.h"
#include "common/xml_reader.h"
#include "tests/zrpsim/asking.h"
#include "tools/zrpsim/world/counters.h"
#include "tools/zrpsim/world/volume_figures.h"

namespace zrp::sim::agreement_test {
namespace {

// A reply as the transport returns it: in a block of exactly its size.
struct ExactReply {
    HeapText text;
    int length = 0;
};

ExactReply ask_with(World& world, char* document, uint32_t length) {
    const HeapText guard(document);
    EXPECT_NE(document, nullptr);
    const Answer answer = answer_request(world, Peer::kMainDaemon, kMainDaemonRequest,
                                         {document, document == nullptr ? 0 : length});
    ExactReply reply{HeapText(static_cast<char*>(std::malloc(answer.text.size()))),
                     static_cast<int>(answer.text.size())};
    std::copy(answer.text.begin(), answer.text.end(), reply.text.get());
    EXPECT_EQ(refusal_code(answer.text), 0) << answer.text;
    return reply;
}

World busy_world() {
    World world = make_world(1, {});
    world.upTimeMs = 123456789;
    return world;
}

TEST(Agreement, ServerStatistics) {
    World world = busy_world();
    uint32_t length = 0;
    char* request = BuildServerStatisticsRequest(1, &length);
    const ExactReply reply = ask_with(world, request, length);
    int offset = 0;
    int count = 0;
    char* element = nullptr;
    int elementLength = 0;
    while (ScanServerStatisticsReply(reply.text.get(), reply.length, &offset, &element,
                                     &elementLength) == 0) {
        count++;
    }
    EXPECT_EQ(count, 17);
}

// Reads the page at startIndex, compares it with the volumes from *seen on, advances *seen, and
// returns the start of the next page.
int compare_volume_page(World& world, int startIndex, size_t* seen) {
    uint32_t length = 0;
    char* request = BuildListVolumesRequest(startIndex, &length);
    const ExactReply reply = ask_with(world, request, length);
    int offset = 0;
    ListedName name{};
    uint32_t status = 0;
    int32_t number = 0;
    while (ScanListVolumesReply(reply.text.get(), reply.length, &offset, &name, &status, &number) ==
           0) {
        const Volume& own = world.volumes.at((*seen)++);
        EXPECT_EQ(name, own.name);
        EXPECT_EQ(status, own.status);
        EXPECT_EQ(number, own.number);
    }
    int next = 0;
    ScanStartIndex(reply.text.get(), reply.length, &next);
    return next;
}

TEST(Agreement, VolumesPageByPage) {
    World world = make_world(1, {.volumes = 256, .connections = 0});
    size_t seen = 0;
    int next = 0;
    for (int pages = 0; pages < 20 && next != kNoNextPage; pages++) {
        next = compare_volume_page(world, next, &seen);
    }
    EXPECT_EQ(seen, 256U);
    EXPECT_EQ(next, kNoNextPage);
}

TEST(Agreement, EveryVersionOfVolumeInformation) {
    World world = busy_world();
    for (int version = 1; version <= kMaxVolumeInformationVersion; version++) {
        uint32_t length = 0;
        char* request = BuildVolumeInformationRequest("PROJECTS", &length, version);
        const ExactReply reply = ask_with(world, request, length);
        int offset = 0;
        int got = 0;
        VolumeRecord record;
        EXPECT_EQ(
            ScanVolumeInformationReply(reply.text.get(), reply.length, &offset, &got, &record), 0);
        EXPECT_EQ(got, version);
    }
}

TEST(Agreement, FiguresOfAVolume) {
    World world = busy_world();
    uint32_t length = 0;
    char* request = BuildVolumeInformationRequest("DATA", &length, 5);
    const ExactReply reply = ask_with(world, request, length);
    int offset = 0;
    int version = 0;
    VolumeRecord record;
    ASSERT_EQ(
        ScanVolumeInformationReply(reply.text.get(), reply.length, &offset, &version, &record), 0);
    const auto* volume = static_cast<const VolumeInformation*>(record.get());
    const Volume& own = *find_volume(world, "DATA");
    EXPECT_EQ(volume->volumeNumber, own.number);
    EXPECT_EQ(volume->status, own.status);
    EXPECT_EQ(volume->clustersPerVolume, own.clusters);
    EXPECT_EQ(volume->dcCacheFiles, volume_figure(world, own, "dcCacheFiles"));
    EXPECT_EQ(volume->connectionCount, static_cast<int>(count_users(world, own)));
    EXPECT_STREQ(volume->mountPoint, own.mountPoint.c_str());
    EXPECT_STREQ(volume->poolName, "POOL0");
    EXPECT_EQ(volume->shadowMountPoint, nullptr);
}

// Reads one page, compares it with the connections from *seen on, and advances *seen.
void compare_page(World& world, size_t* seen) {
    uint32_t length = 0;
    const int station = world.connections->at(*seen).station;
    char* request = BuildListConnectionsRequest(station, 10, &length);
    const ExactReply reply = ask_with(world, request, length);
    int offset = 0;
    ConnectionEntry entry{};
    while (ScanListConnectionsReply(reply.text.get(), reply.length, &offset, &entry) == 0) {
        const Connection& own = world.connections->at((*seen)++);
        EXPECT_EQ(entry.stationNumber, own.station);
        EXPECT_EQ(entry.name, own.name);
        EXPECT_EQ(entry.bytesRead, traffic_of(world, own).bytesRead);
    }
}

TEST(Agreement, ConnectionsPageByPage) {
    World world = busy_world();
    size_t seen = 0;
    for (size_t pages = 1; pages <= 5; pages++) {
        compare_page(world, &seen);
        ASSERT_EQ(seen, pages * 10);
    }
}

void compare_information(const ConnectionInformation& record, const Connection& own) {
    EXPECT_EQ(record.entry.name, own.name);
    EXPECT_EQ(record.networkAddress, own.address);
    EXPECT_EQ(record.openFilesCount, own.files.size());
    EXPECT_EQ(record.openFiles.count, own.files.size());
    EXPECT_EQ(record.securityEquals.count, own.equivalences.size());
    EXPECT_EQ((record.status & kAnyDetailsStatus) != 0, logged_in(own));
}

TEST(Agreement, InformationAboutEveryConnection) {
    World world = busy_world();
    for (const Connection& own : *world.connections) {
        uint32_t length = 0;
        char* request = BuildConnectionInformationRequest(own.station, 1, &length);
        const ExactReply reply = ask_with(world, request, length);
        ConnectionInformationPtr record;
        ASSERT_EQ(ScanConnectionInformationReply(reply.text.get(), reply.length, &record), 0);
        compare_information(*record, own);
    }
}

TEST(Agreement, CountersOfTheMainDaemon) {
    World world = busy_world();
    uint32_t length = 0;
    char* request = BuildDiagnosticsRequest(&length, kDiagnosticsLevel, 0);
    const ExactReply reply = ask_with(world, request, length);
    int cursor = 0;
    DiagnosticName name{};
    int32_t value = 0;
    for (const CounterRow& row : server_counters()) {
        ASSERT_EQ(ScanDiagnosticsReply(reply.text.get(), reply.length, &cursor, name, &value), 0);
        EXPECT_STREQ(name, row.name);
        EXPECT_EQ(value, counter_value(world, row, 0));
    }
}

TEST(Agreement, CountersOfTheStorageDaemon) {
    World world = busy_world();
    uint32_t length = 0;
    const HeapText document(BuildZrp2bksDiagnosticRequest(&length, kDiagnosticsLevel, 0));
    const HeapText message(WrapDiagnosticRequest(document.get(), length, &length));
    std::string reply = answer_request(world, Peer::kStorageDaemon, kStorageDiagnosticRequest,
                                       {message.get(), length})
                            .text;
    int cursor = 0;
    DiagnosticName name{};
    int32_t value = 0;
    for (const CounterRow& row : storage_counters()) {
        ASSERT_EQ(ScanZrp2bksDiagnosticReply(reply.data(), static_cast<int>(reply.size()), &cursor,
                                             name, &value),
                  0);
        EXPECT_STREQ(name, row.name);
        EXPECT_EQ(value, counter_value(world, row, 0));
    }
}

TEST(Agreement, TheListOfParameters) {
    World world = busy_world();
    uint32_t length = 0;
    SettingText name{};
    SettingText value{};
    char* browse = BuildSetRequest(&length, kSetVersion, kSetAttributes, nullptr, nullptr);
    const ExactReply list = ask_with(world, browse, length);
    int offset = 0;
    for (const Parameter& own : world.parameters) {
        ASSERT_EQ(ScanSetReply(list.text.get(), list.length, &offset, &name, &value), 0);
        EXPECT_EQ(name, own.name);
        EXPECT_EQ(value, own.value);
    }
}

TEST(Agreement, AParameterIsWrittenAndRead) {
    World world = busy_world();
    uint32_t length = 0;
    SettingText value{};
    char* write = BuildSetRequest(&length, kSetVersion, kSetAttributes, "LOG_LEVEL", "DEBUG");
    ask_with(world, write, length);
    char* read = BuildSetRequest(&length, kSetVersion, kSetAttributes, "LOG_LEVEL", nullptr);
    const ExactReply reply = ask_with(world, read, length);
    int offset = 0;
    EXPECT_EQ(ScanSetReply(reply.text.get(), reply.length, &offset, nullptr, &value), 0);
    EXPECT_STREQ(value, "DEBUG");
}

TEST(Agreement, RefusalsAreReadWithTheirDescription) {
    std::string reply = refusal_text(kMainDaemonRequest, -702, "no such volume");
    ErrorText text{};
    EXPECT_EQ(CheckForError(static_cast<uint32_t>(reply.size()), reply.data(), &text), -702);
    EXPECT_STREQ(text, "-702 no such volume");
}

} // namespace
} // namespace zrp::sim::agreement_test
