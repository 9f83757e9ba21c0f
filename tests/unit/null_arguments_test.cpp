// Null in the place of an output, an offset or a callback: one row for each.
#include "common/requests/cluster_resource.h"
#include "common/requests/connections.h"
#include "common/requests/diagnostics.h"
#include "common/requests/open_files.h"
#include "common/requests/server_login.h"
#include "common/requests/server_settings.h"
#include "common/requests/server_statistics.h"
#include "common/requests/server_threads.h"
#include "common/requests/shadow_volumes.h"
#include "common/requests/storage_control.h"
#include "common/requests/storage_daemon.h"
#include "common/requests/volume_information.h"
#include "common/requests/volume_management.h"
#include "common/requests/volume_mounting.h"
#include "tests/support/drivers.h"
#include "tests/unit/catalogue_fixture.h"

namespace zrp::null_arguments_test {
namespace {

// A scanner on a reply that it reads, with its pointers: the test puts null in the place of each.
struct Scanner {
    const char* name;
    const char* sample; // in the replies' corpus; a document of its own begins with '<'
    int pointers;
    // Leaves out the pointer of that place, none for -1.
    int (*scan)(char* reply, int length, int missing);
};

template <typename Value>
Value* unless(bool isMissing, Value& value) {
    return isMissing ? nullptr : &value;
}

// A scanner of a list with one record.
template <auto scan, typename Record>
int scan_list(char* reply, int length, int missing) {
    int offset = 0;
    Record record = {};
    return scan(reply, length, unless(missing == 0, offset), unless(missing == 1, record));
}

// A scanner of one record.
template <auto scan, typename Record>
int scan_one(char* reply, int length, int missing) {
    Record record = {};
    return scan(reply, length, unless(missing == 0, record));
}

// A scanner of a list of texts.
template <auto scan, typename Text>
int scan_texts(char* reply, int length, int missing) {
    int offset = 0;
    Text text;
    return scan(reply, length, unless(missing == 0, offset), text);
}

const char* const kPage = "<zrpConsoleReply><listOpenFilesByConnection><iterationInfo>"
                          "<stationNumberCount>0</stationNumberCount><moreFlag>No</moreFlag>"
                          "</iterationInfo></listOpenFilesByConnection></zrpConsoleReply>";

const Scanner kScanners[] = {
    {"ClusterVolume", "cluster_volumes.xml", 2,
     scan_list<ScanClusterVolumeReply, ClusterVolumeResult>},
    {"ConnectionInformation", "connection_information.xml", 1,
     scan_one<ScanConnectionInformationReply, ConnectionInformationPtr>},
    {"ListConnections", "list_connections.xml", 2,
     scan_list<ScanListConnectionsReply, ConnectionEntry>},
    {"Diagnostics", "diagnostics.xml", 2,
     [](char* reply, int length, int missing) {
         int cursor = 0;
         DiagnosticName name;
         int32_t value = 0;
         return ScanDiagnosticsReply(reply, length, unless(missing == 0, cursor), name,
                                     unless(missing == 1, value));
     }},
    {"Zrp2bksDiagnostic", "diagnostics_storage.xml", 2,
     [](char* reply, int length, int missing) {
         int cursor = 0;
         DiagnosticName name;
         int32_t value = 0;
         return ScanZrp2bksDiagnosticReply(reply, length, unless(missing == 0, cursor), name,
                                           unless(missing == 1, value));
     }},
    {"ListFileLocksByFile", "file_locks.xml", 2, scan_list<ScanListFileLocksByFileReply, FileLock>},
    {"ActualLockCount", "file_locks.xml", 1, scan_one<ScanActualLockCount, int32_t>},
    {"ListOpenFilesByConnection", "open_files.xml", 2,
     scan_list<ScanListOpenFilesByConnectionReply, OpenFilesConnection>},
    {"OpenFilesPage", kPage, 1, scan_one<ScanOpenFilesPage, OpenFilesPage>},
    {"OpenFileName", "<name>DATA:a</name>", 1,
     [](char* reply, int length, int missing) {
         const OpenFilesConnection connection = {3, "u", 1, reply, length};
         char name[kFileNameSize];
         int offset = 0;
         return ScanOpenFileName(connection, unless(missing == 0, offset), name);
     }},
    {"ServerConfig", "server_config.xml", 1, scan_one<ScanServerConfigReply, ServerConfig>},
    {"ServerConnInfo", "server_connections.xml", 1,
     scan_one<ScanServerConnInfoReply, ServerConnInfo>},
    {"ServerCounters", "server_counters.xml", 1, scan_one<ScanServerCountersReply, ServerCounters>},
    {"EnableLogin",
     "<zrpConsoleReply><enableLogin><string>on</string></enableLogin></zrpConsoleReply>", 1,
     scan_texts<ScanEnableLoginReply, LoginText>},
    {"DisableLogin", "disable_login.xml", 1, scan_texts<ScanDisableLoginReply, LoginText>},
    {"Set", "set.xml", 1,
     [](char* reply, int length, int missing) {
         int offset = 0;
         return ScanSetReply(reply, length, unless(missing == 0, offset), nullptr, nullptr);
     }},
    {"ServerStatistics", "server_statistics.xml", 3,
     [](char* reply, int length, int missing) {
         int offset = 0;
         char* element = nullptr;
         int elementLength = 0;
         return ScanServerStatisticsReply(reply, length, unless(missing == 0, offset),
                                          unless(missing == 1, element),
                                          unless(missing == 2, elementLength));
     }},
    {"RemoveShadowVolume", "shadow_remove.xml", 1,
     scan_one<ScanRemoveShadowVolumeReply, RemovedShadow>},
    {"Zrp2bksParms", "diagnostics_parms.xml", 1, scan_one<ScanZrp2bksParmsReply, DiagnosticChoice>},
    {"VolumeInformation", "volume_information.xml", 3,
     [](char* reply, int length, int missing) {
         int offset = 0;
         int version = 0;
         VolumeRecord record;
         return ScanVolumeInformationReply(reply, length, unless(missing == 0, offset),
                                           unless(missing == 1, version),
                                           unless(missing == 2, record));
     }},
    {"ListVolumes", "list_volumes.xml", 1,
     [](char* reply, int length, int missing) {
         int offset = 0;
         return ScanListVolumesReply(reply, length, unless(missing == 0, offset), nullptr, nullptr,
                                     nullptr);
     }},
    {"ModifyVolume", "modify_volume.xml", 1, scan_one<ScanModifyVolumeReply, ModifiedVolume>},
    {"MountAll", "mount_all.xml", 1, scan_texts<ScanMountAllReply, VolumeName>},
    {"DismountAll",
     "<zrpConsoleReply><dismountAll><volume><name>A</name></volume></dismountAll>"
     "</zrpConsoleReply>",
     1, scan_texts<ScanDismountAllReply, VolumeName>},
    {"MountVolumes", "mount_volumes.xml", 2, scan_list<ScanMountVolumesReply, MountedVolume>},
    {"DismountVolumes", "dismount_volumes.xml", 2,
     scan_list<ScanDismountVolumesReply, DismountedVolume>},
};

std::string sample_text(const std::string& name) {
    if (name.starts_with('<')) {
        return name;
    }
    for (const Sample& sample : samples("replies")) {
        if (sample.name == name) {
            return sample.text;
        }
    }
    return "";
}

TEST(NullArguments, AreRefusedByEveryScanner) {
    for (const Scanner& row : kScanners) {
        SCOPED_TRACE(row.name);
        const std::string text = sample_text(row.sample);
        for (int missing = -1; missing < row.pointers; missing++) {
            const ExactBlock reply(text);
            EXPECT_EQ(row.scan(reply.begin(), reply.length(), missing),
                      missing < 0 ? int{kOk} : int{kInvalid})
                << missing;
        }
    }
}

// The sample with more than a megabyte of small elements at the start of what its last list path
// holds.
std::string made_long(std::string text, size_t depth) {
    size_t at = 0;
    for (size_t i = 0; i < depth; i++) {
        at = text.find('>', at) + 1;
    }
    std::string padding = "<x/>";
    while (padding.size() <= size_t{1} << 20) {
        padding += padding;
    }
    return text.insert(at, padding);
}

TEST(Scanners, OfALongReplyCanBeBrokenOff) {
    for (const Scanner& row : kScanners) {
        SCOPED_TRACE(row.name);
        const std::string sample = sample_text(row.sample);
        for (size_t depth = 0; depth < 3; depth++) {
            const std::string text = made_long(sample, depth);
            if (text.ends_with("<x/>")) {
                continue; // the scanner does not get so far
            }
            const ExactBlock whole(text);
            EXPECT_EQ(row.scan(whole.begin(), whole.length(), -1), kOk);
            const ExactBlock reply(text);
            IPCServInterrupt();
            EXPECT_EQ(row.scan(reply.begin(), reply.length(), -1), ECANCELED) << depth;
            const ExactBlock small(sample);
            EXPECT_EQ(row.scan(small.begin(), small.length(), -1), kOk);
            IPCServInit("reset");
            IPCServTerm();
        }
    }
}

// The scanner has no result code to refuse with.
TEST(NullArguments, AStartIndexMayBeLeftOut) {
    const std::string text = "<startIndex>5</startIndex>";
    std::string reply = text;
    const int length = static_cast<int>(reply.size());
    ScanStartIndex(reply.data(), length, nullptr);
    EXPECT_EQ(reply, text);
    int startIndex = 0;
    ScanStartIndex(reply.data(), length, &startIndex);
    EXPECT_EQ(startIndex, 5) << "the reply can still be read";
}

struct Operation {
    const char* name;
    int (*run)(ErrorText* errorText, const LogContext* log);
};

const Operation kOperations[] = {
    {"MountVolumes callback",
     [](ErrorText* errorText, const LogContext* log) {
         return MountVolumes("DATA", nullptr, nullptr, errorText, log);
     }},
    {"DismountVolumes callback",
     [](ErrorText* errorText, const LogContext* log) {
         return DismountVolumes("DATA", nullptr, nullptr, errorText, log);
     }},
    {"ModifyVolume record",
     [](ErrorText* errorText, const LogContext* log) {
         return ModifyVolume("DATA", 0, 0, nullptr, errorText, log);
     }},
    {"GetVolumeInformation version",
     [](ErrorText* errorText, const LogContext* log) {
         VolumeRecord record;
         return GetVolumeInformation("DATA", nullptr, &record, errorText, log);
     }},
    {"GetVolumeInformation record",
     [](ErrorText* errorText, const LogContext* log) {
         int version = kVolumeInformationVersion;
         return GetVolumeInformation("DATA", &version, nullptr, errorText, log);
     }},
    {"RemoveShadowVolume record",
     [](ErrorText* errorText, const LogContext* log) {
         return RemoveShadowVolume("DATA", nullptr, errorText, log);
     }},
    {"RemoveShadowVolumeAt record",
     [](ErrorText* errorText, const LogContext* log) {
         return RemoveShadowVolumeAt("DATA", "/m", nullptr, errorText, log);
     }},
    {"GetServerConnInfo record",
     [](ErrorText* errorText, const LogContext* log) {
         return GetServerConnInfo(nullptr, errorText, log);
     }},
    {"ListOpenFilesByConnection callback",
     [](ErrorText* errorText, const LogContext* log) {
         OpenFilesPage page;
         return ListOpenFilesByConnection(nullptr, 0, 0, nullptr, nullptr, &page, errorText, log);
     }},
    {"ListOpenFilesByConnection page",
     [](ErrorText* errorText, const LogContext* log) {
         const auto goOn = [](void*, const OpenFilesConnection&) { return 0; };
         return ListOpenFilesByConnection(nullptr, 0, 0, goOn, nullptr, nullptr, errorText, log);
     }},
    {"ListAllOpenFilesByConnection callback",
     [](ErrorText* errorText, const LogContext* log) {
         return ListAllOpenFilesByConnection(nullptr, nullptr, nullptr, errorText, log);
     }},
    {"ListFileLocksByFile callback",
     [](ErrorText* errorText, const LogContext* log) {
         int32_t count = 0;
         return ListFileLocksByFile("DATA:a", nullptr, nullptr, &count, errorText, log);
     }},
    {"ListFileLocksByFile count",
     [](ErrorText* errorText, const LogContext* log) {
         const auto goOn = [](void*, const FileLock&) { return 0; };
         return ListFileLocksByFile("DATA:a", goOn, nullptr, nullptr, errorText, log);
     }},
    {"MountAllVolumes callback",
     [](ErrorText* errorText, const LogContext* log) {
         return MountAllVolumes(nullptr, nullptr, errorText, log);
     }},
    {"DismountAllVolumes callback",
     [](ErrorText* errorText, const LogContext* log) {
         return DismountAllVolumes(nullptr, nullptr, errorText, log);
     }},
    {"ChangeLogin callback",
     [](ErrorText* errorText, const LogContext* log) {
         return ChangeLogin({}, nullptr, nullptr, errorText, log);
     }},
    {"GetServerConfig record",
     [](ErrorText* errorText, const LogContext* log) {
         return GetServerConfig(nullptr, errorText, log);
     }},
    {"SetServerConfig name",
     [](ErrorText* errorText, const LogContext* log) {
         ServerConfig config;
         return SetServerConfig(nullptr, "1", &config, errorText, log);
     }},
    {"SetServerConfig record",
     [](ErrorText* errorText, const LogContext* log) {
         return SetServerConfig("a", "1", nullptr, errorText, log);
     }},
    {"GetServerCounters record",
     [](ErrorText* errorText, const LogContext* log) {
         return GetServerCounters(nullptr, errorText, log);
     }},
    {"GetThreads record",
     [](ErrorText* errorText, const LogContext* log) {
         return GetThreads(nullptr, errorText, log);
     }},
    {"BindAddress server",
     [](ErrorText* errorText, const LogContext* log) {
         return BindAddress(nullptr, "10.0.0.1", errorText, log);
     }},
    {"MountClusterVolumes callback",
     [](ErrorText* errorText, const LogContext* log) {
         const ClusterVolume volumes[] = {{"DATA"}};
         return MountClusterVolumes(volumes, nullptr, nullptr, errorText, log);
     }},
    {"MountClusterVolumes volumes",
     [](ErrorText* errorText, const LogContext* log) {
         const auto goOn = [](void*, const ClusterVolumeResult&) { return 0; };
         return MountClusterVolumes({}, goOn, nullptr, errorText, log);
     }},
    {"PurgeVolume name",
     [](ErrorText* errorText, const LogContext* log) {
         VolumeName name;
         return PurgeVolume(nullptr, name, errorText, log);
     }},
    {"SetStorageLogLevel options",
     [](ErrorText* errorText, const LogContext* log) {
         return SetStorageLogLevel(nullptr, errorText, log);
     }},
    {"GetVolumes callback",
     [](ErrorText*, const LogContext*) { return GetVolumes(nullptr, nullptr, nullptr); }},
    {"GetVolumeArray callback",
     [](ErrorText*, const LogContext*) { return GetVolumeArray(nullptr, nullptr, nullptr); }},
    {"GetValidVolumes callback",
     [](ErrorText*, const LogContext*) { return GetValidVolumes(nullptr, nullptr, nullptr); }},
    {"GetConnectionInformation version",
     [](ErrorText*, const LogContext*) {
         ConnectionInformationPtr record;
         return GetConnectionInformation(1, nullptr, &record);
     }},
    {"GetConnectionInformation record",
     [](ErrorText*, const LogContext*) {
         int version = kConnectionInformationVersion;
         return GetConnectionInformation(1, &version, nullptr);
     }},
    {"QueryConnections entries",
     [](ErrorText*, const LogContext*) {
         int count = 0;
         return QueryConnections(0, {}, &count);
     }},
    {"QueryConnections count",
     [](ErrorText*, const LogContext*) {
         ConnectionEntry entry;
         return QueryConnections(0, {&entry, 1}, nullptr);
     }},
    {"QueryServerStatistics callback",
     [](ErrorText*, const LogContext*) {
         return QueryServerStatistics(1, nullptr, nullptr, nullptr);
     }},
    {"QuerySettings reply",
     [](ErrorText*, const LogContext*) { return QuerySettings(nullptr, nullptr); }},
    {"IPCBKSControlList callback",
     [](ErrorText*, const LogContext* log) { return IPCBKSControlList(nullptr, nullptr, log, 0); }},
    {"IPCBKSControlFilterList callback",
     [](ErrorText*, const LogContext* log) {
         return IPCBKSControlFilterList(nullptr, nullptr, log);
     }},
};

constexpr size_t kOperationsWithWords = 26;

using NullArgument = CatalogueTest;

TEST_F(NullArgument, IsRefusedByEveryOperationBeforeAnythingIsSent) {
    ScriptedPeer storage(kStorageDaemonSocket, {{read_request()}});
    for (const auto& row : kOperations) {
        SCOPED_TRACE(row.name);
        expect_not_sent([&](const LogContext* to) { return row.run(nullptr, to); }, kInvalid);
    }
    EXPECT_EQ(storage.connections(), 0U);
}

// Those that take no buffer for the server's words leave it alone.
TEST_F(NullArgument, LeavesNoWordsOfAnEarlierCall) {
    size_t emptied = 0;
    for (const auto& row : kOperations) {
        ErrorText errorText = "words";
        row.run(&errorText, nullptr);
        emptied += errorText[0] == '\0' ? 1 : 0;
    }
    EXPECT_EQ(emptied, kOperationsWithWords);
}

TEST(NullArguments, AreRefusedByTheWrapperOfDiagnostics) {
    uint32_t length = 77;
    for (const auto& [document, to] :
         {std::pair<const char*, uint32_t*>{nullptr, &length}, {"<a/>", nullptr}}) {
        errno = 0;
        EXPECT_EQ(WrapDiagnosticRequest(document, 4, to), nullptr);
        EXPECT_EQ(errno, EINVAL);
    }
    EXPECT_EQ(length, 77U);
}

} // namespace
} // namespace zrp::null_arguments_test
