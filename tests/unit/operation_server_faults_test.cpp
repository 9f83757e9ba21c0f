// Every operation of the catalogue against a simulated server that spoils its replies.
#include "common/requests/cluster_resource.h"
#include "common/requests/connection_management.h"
#include "common/requests/connections.h"
#include "common/requests/open_files.h"
#include "common/requests/server_login.h"
#include "common/requests/server_settings.h"
#include "common/requests/server_statistics.h"
#include "common/requests/server_threads.h"
#include "common/requests/shadow_volumes.h"
#include "common/requests/volume_information.h"
#include "common/requests/volume_management.h"
#include "common/requests/volume_mounting.h"
#include "tests/unit/catalogue_fixture.h"
#include "tests/unit/server_faults.h"

namespace zrp::operation_server_faults_test {
namespace {

constexpr int32_t kStations[] = {999};

int go_on_mounting(void*, const MountedVolume&) {
    return 0;
}

int go_on_dismounting(void*, const DismountedVolume&) {
    return 0;
}

int go_on_listing(void*, const OpenFilesConnection&) {
    return 0;
}

int go_on_with_locks(void*, const FileLock&) {
    return 0;
}

int go_on_with_names(void*, const VolumeName&) {
    return 0;
}

int go_on_with_lines(void*, const LoginText&) {
    return 0;
}

int go_on_with_cluster(void*, const ClusterVolumeResult&) {
    return 0;
}

constexpr const char* kDaemon = "zrpserv";

// What an operation reads of a reply that is no refusal.
enum class Reads {
    kContent, // elements inside the command's
    kCommand, // nothing but that it is there
    kNothing,
};

struct Operation {
    const char* name;
    int (*run)(ErrorText* errorText, const LogContext* log);
    Reads reads = Reads::kContent;
    int sound = kOk;             // what the unspoilt server answers
    const char* soundText = "";  // and why
    const char* halfText = "";   // the part of it in the first half of the reply
    bool logsReplyStart = false; // whether a reply without its envelope has a line
};

constexpr Operation kOperations[] = {
    {"MountVolumes",
     [](ErrorText* errorText, const LogContext* log) {
         return MountVolumes("DATA", go_on_mounting, nullptr, errorText, log);
     }},
    {"DismountVolumes",
     [](ErrorText* errorText, const LogContext* log) {
         return DismountVolumes("BACKUP", go_on_dismounting, nullptr, errorText, log);
     }},
    {"CreateVolume",
     [](ErrorText* errorText, const LogContext* log) {
         VolumeName name;
         return CreateVolume("NEW", "/mnt/new", 0, kAnyVolumeNumber, name, errorText, log);
     }},
    {"ModifyVolume",
     [](ErrorText* errorText, const LogContext* log) {
         ModifiedVolume volume;
         return ModifyVolume("DATA", 0, 0, &volume, errorText, log);
     }},
    {"GetVolumeInformation",
     [](ErrorText* errorText, const LogContext* log) {
         VolumeRecord record;
         int version = kVolumeInformationVersion;
         return GetVolumeInformation("DATA", &version, &record, errorText, log);
     }},
    {"CreateShadowVolume",
     [](ErrorText* errorText, const LogContext* log) {
         VolumeName name;
         return CreateShadowVolume("DATA", "/mnt/s", "", 0, name, errorText, log);
     }},
    {"RemoveShadowVolume",
     [](ErrorText* errorText, const LogContext* log) {
         RemovedShadow removed;
         return RemoveShadowVolume("DATA", &removed, errorText, log);
     }},
    {"RemoveShadowVolumeAt",
     [](ErrorText* errorText, const LogContext* log) {
         RemovedShadow removed;
         return RemoveShadowVolumeAt("DATA", "/elsewhere", &removed, errorText, log);
     },
     Reads::kContent, 2, "2 not a mount point of DATA: /elsewhere", "2 not a mount poi"},
    {"RemoveShadowConfiguration",
     [](ErrorText* errorText, const LogContext* log) {
         VolumeName name;
         return RemoveShadowConfiguration("DATA", "", "DATA_S", name, errorText, log);
     }},
    {"RemoveVolume",
     [](ErrorText* errorText, const LogContext* log) {
         VolumeName name;
         return RemoveVolume("HOME", name, errorText, log);
     }},
    {"RemoveVolumeWithOptions",
     [](ErrorText* errorText, const LogContext* log) {
         VolumeName name;
         return RemoveVolumeWithOptions("NOWHERE", "force", name, errorText, log);
     },
     Reads::kContent, 2, "2 no such volume: NOWHERE", "2 no such "},
    {"GetServerConnInfo",
     [](ErrorText* errorText, const LogContext* log) {
         ServerConnInfo info;
         return GetServerConnInfo(&info, errorText, log);
     }},
    {"ListOpenFilesByConnection",
     [](ErrorText* errorText, const LogContext* log) {
         OpenFilesPage page;
         return ListOpenFilesByConnection("DATA", 0, 5, go_on_listing, nullptr, &page, errorText,
                                          log);
     }},
    {"ListAllOpenFilesByConnection",
     [](ErrorText* errorText, const LogContext* log) {
         return ListAllOpenFilesByConnection(nullptr, go_on_listing, nullptr, errorText, log);
     }},
    {"CloseFile",
     [](ErrorText* errorText, const LogContext* log) {
         char closed[kFileNameSize];
         return CloseFile("DATA:nothing", closed, errorText, log);
     },
     Reads::kContent, 2, "2 file is not open: DATA:nothing", "2 file is not", true},
    {"ListFileLocksByFile",
     [](ErrorText* errorText, const LogContext* log) {
         int32_t count = 0;
         return ListFileLocksByFile("DATA:nothing", go_on_with_locks, nullptr, &count, errorText,
                                    log);
     }},
    {"CloseConnectionLocks",
     [](ErrorText* errorText, const LogContext* log) {
         return CloseConnectionLocks(999, errorText, log);
     },
     Reads::kCommand, 2, "2 no such connection: 999", "2 no such ", true},
    {"BroadcastMessage",
     [](ErrorText* errorText, const LogContext* log) {
         return BroadcastMessage("hello", errorText, log);
     },
     Reads::kCommand},
    {"BroadcastMessageToStations",
     [](ErrorText* errorText, const LogContext* log) {
         return BroadcastMessageToStations("hello", kStations, errorText, log);
     },
     Reads::kCommand, 2, "2 no such connection: 999", "2 no such "},
    {"ClearConnection",
     [](ErrorText* errorText, const LogContext* log) {
         return ClearConnection(kStations, errorText, log);
     },
     Reads::kCommand, 2, "2 no such connection: 999", "2 no such "},
    {"ClearNotLoggedInConnections", ClearNotLoggedInConnections, Reads::kCommand},
    {"ClearAllConnections",
     [](ErrorText* errorText, const LogContext* log) {
         return ClearAllConnections({}, errorText, log);
     },
     Reads::kCommand},
    {"VolumeTreeControl",
     [](ErrorText* errorText, const LogContext* log) {
         return VolumeTreeControl("DATA", 1, errorText, log);
     },
     Reads::kNothing},
    {"PurgeVolume",
     [](ErrorText* errorText, const LogContext* log) {
         VolumeName name;
         return PurgeVolume("DATA", name, errorText, log);
     }},
    {"FlushVolumes", FlushVolumes, Reads::kCommand},
    {"DismountAllVolumes",
     [](ErrorText* errorText, const LogContext* log) {
         return DismountAllVolumes(go_on_with_names, nullptr, errorText, log);
     }},
    {"MountAllVolumes",
     [](ErrorText* errorText, const LogContext* log) {
         return MountAllVolumes(go_on_with_names, nullptr, errorText, log);
     }},
    {"ChangeLogin",
     [](ErrorText* errorText, const LogContext* log) {
         return ChangeLogin({.enable = false}, go_on_with_lines, nullptr, errorText, log);
     }},
    {"GetServerConfig",
     [](ErrorText* errorText, const LogContext* log) {
         ServerConfig config;
         return GetServerConfig(&config, errorText, log);
     },
     Reads::kCommand}, // the first element that is not closed is one that may be missing
    {"SetServerConfig",
     [](ErrorText* errorText, const LogContext* log) {
         ServerConfig config;
         return SetServerConfig("nothing", "1", &config, errorText, log);
     },
     Reads::kContent, 2, "2 no such setting: nothing", "2 no such "},
    {"GetServerCounters",
     [](ErrorText* errorText, const LogContext* log) {
         ServerCounters counters;
         return GetServerCounters(&counters, errorText, log);
     },
     Reads::kCommand}, // as with the configuration
    {"GetThreads",
     [](ErrorText* errorText, const LogContext* log) {
         ThreadStatistics threads;
         return GetThreads(&threads, errorText, log);
     },
     Reads::kCommand},
    {"BindAddress",
     [](ErrorText* errorText, const LogContext* log) {
         return BindAddress("VS1", "10.0.0.1", errorText, log);
     },
     Reads::kCommand},
    {"UnbindAddress",
     [](ErrorText* errorText, const LogContext* log) {
         return UnbindAddress("VS1", "10.0.0.1", errorText, log);
     },
     Reads::kCommand},
    {"MountClusterVolumes",
     [](ErrorText* errorText, const LogContext* log) {
         const ClusterVolume volumes[] = {{"DATA"}};
         return MountClusterVolumes(volumes, go_on_with_cluster, nullptr, errorText, log);
     }},
};

// What becomes of an operation under a fault.
struct End {
    int code;
    const char* errorText = "";
    const char* log = "";
};

// A refusal is known by its first half, and shows whatever an operation reads.
End end_of(const Operation& row, Effect effect) {
    const bool isRefused = row.sound != kOk;
    switch (effect) {
    case Effect::kRefusal:
        return {kSimulatedCode, kSimulatedText};
    case Effect::kMalformed:
        return {row.reads != Reads::kNothing ? int{kInvalid} : int{kOk}, "",
                row.logsReplyStart ? kReplyStartLine : ""};
    case Effect::kHalved:
        return isRefused ? End{row.sound, row.halfText}
                         : End{row.reads != Reads::kNothing ? int{kInvalid} : int{kOk}};
    case Effect::kUnclosed:
        return isRefused ? End{row.sound, row.soundText}
                         : End{row.reads == Reads::kContent ? int{kInvalid} : int{kOk}};
    default:
        return {row.sound, row.soundText};
    }
}

class OperationUnderFault : public OperationTest,
                            public testing::WithParamInterface<ServerFault> {};

INSTANTIATE_TEST_SUITE_P(Server, OperationUnderFault, testing::ValuesIn(kServerFaults));

TEST_P(OperationUnderFault, HasItsCodeItsTextAndItsLine) {
    const ServerFault& fault = GetParam();
    const SimulatedServer server(spoilt_server(fault.kind, kDaemon));
    ASSERT_TRUE(server.ready());
    for (const auto& row : kOperations) {
        SCOPED_TRACE(row.name);
        empty_file();
        ErrorText errorText = "untouched";
        const int code = row.run(&errorText, log);
        if (fault.effect == Effect::kExchange) {
            EXPECT_EQ(code, fault.code);
            EXPECT_STREQ(errorText, "");
            EXPECT_EQ(contents(), exchange_line(fault.code));
        } else {
            const End end = end_of(row, fault.effect);
            EXPECT_EQ(code, end.code);
            EXPECT_STREQ(errorText, end.errorText);
            EXPECT_EQ(contents(), end.log);
        }
    }
}

using SilentServer = OperationTest;

TEST_F(SilentServer, IsBrokenOffInEveryOperation) {
    const SimulatedServer server(spoilt_server("hang", kDaemon));
    ASSERT_TRUE(server.ready());
    for (const auto& row : kOperations) {
        SCOPED_TRACE(row.name);
        empty_file();
        ErrorText errorText = "untouched";
        expect_broken_off([&] { return row.run(&errorText, log); });
        EXPECT_STREQ(errorText, "");
        EXPECT_EQ(contents(), exchange_line(ECANCELED));
    }
}

} // namespace
} // namespace zrp::operation_server_faults_test
