// Every operation of the catalogue against a simulated server that spoils its replies.
#include <ostream>

#include "catalogue_fixture.h"
#include "common/requests/connection_management.h"
#include "common/requests/file_locks.h"
#include "common/requests/server_connections.h"
#include "common/requests/shadow_volumes.h"
#include "common/requests/volume_management.h"
#include "common/requests/volume_mounting.h"

namespace zrp {
namespace {

using VolumeName = char[kVolumeNameSize];

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

struct Operation {
    const char* name;
    int (*run)(ErrorText* errorText, const LogContext* log);
    int sound; // what the unspoilt server answers
};

constexpr Operation kOperations[] = {
    {"MountVolumes",
     [](ErrorText* errorText, const LogContext* log) {
         return MountVolumes("DATA", go_on_mounting, nullptr, errorText, log);
     },
     kOk},
    {"DismountVolumes",
     [](ErrorText* errorText, const LogContext* log) {
         return DismountVolumes("BACKUP", go_on_dismounting, nullptr, errorText, log);
     },
     kOk},
    {"CreateVolume",
     [](ErrorText* errorText, const LogContext* log) {
         VolumeName name;
         return CreateVolume("NEW", "/mnt/new", 0, kAnyVolumeNumber, name, errorText, log);
     },
     kOk},
    {"ModifyVolume",
     [](ErrorText* errorText, const LogContext* log) {
         ModifiedVolume volume;
         return ModifyVolume("DATA", 0, 0, &volume, errorText, log);
     },
     kOk},
    {"GetVolumeInformation",
     [](ErrorText* errorText, const LogContext* log) {
         VolumeRecord record;
         int version = kVolumeInformationVersion;
         return GetVolumeInformation("DATA", &version, &record, errorText, log);
     },
     kOk},
    {"CreateShadowVolume",
     [](ErrorText* errorText, const LogContext* log) {
         VolumeName name;
         return CreateShadowVolume("DATA", "/mnt/s", "", 0, name, errorText, log);
     },
     kOk},
    {"RemoveShadowVolume",
     [](ErrorText* errorText, const LogContext* log) {
         RemovedShadow removed;
         return RemoveShadowVolume("DATA", &removed, errorText, log);
     },
     kOk},
    {"RemoveShadowVolumeAt",
     [](ErrorText* errorText, const LogContext* log) {
         RemovedShadow removed;
         return RemoveShadowVolumeAt("DATA", "/elsewhere", &removed, errorText, log);
     },
     2},
    {"RemoveShadowConfiguration",
     [](ErrorText* errorText, const LogContext* log) {
         VolumeName name;
         return RemoveShadowConfiguration("DATA", "", "DATA_S", name, errorText, log);
     },
     kOk},
    {"RemoveVolume",
     [](ErrorText* errorText, const LogContext* log) {
         VolumeName name;
         return RemoveVolume("HOME", name, errorText, log);
     },
     kOk},
    {"RemoveVolumeWithOptions",
     [](ErrorText* errorText, const LogContext* log) {
         VolumeName name;
         return RemoveVolumeWithOptions("NOWHERE", "force", name, errorText, log);
     },
     2},
    {"GetServerConnInfo",
     [](ErrorText* errorText, const LogContext* log) {
         ServerConnInfo info;
         return GetServerConnInfo(&info, errorText, log);
     },
     kOk},
    {"ListOpenFilesByConnection",
     [](ErrorText* errorText, const LogContext* log) {
         OpenFilesPage page;
         return ListOpenFilesByConnection("DATA", 0, 5, go_on_listing, nullptr, &page, errorText,
                                          log);
     },
     kOk},
    {"ListAllOpenFilesByConnection",
     [](ErrorText* errorText, const LogContext* log) {
         return ListAllOpenFilesByConnection(nullptr, go_on_listing, nullptr, errorText, log);
     },
     kOk},
    {"CloseFile",
     [](ErrorText* errorText, const LogContext* log) {
         char closed[kFileNameSize];
         return CloseFile("DATA:nothing", closed, errorText, log);
     },
     2},
    {"ListFileLocksByFile",
     [](ErrorText* errorText, const LogContext* log) {
         int32_t count = 0;
         return ListFileLocksByFile("DATA:nothing", go_on_with_locks, nullptr, &count, errorText,
                                    log);
     },
     kOk},
    {"CloseConnectionLocks",
     [](ErrorText* errorText, const LogContext* log) {
         return CloseConnectionLocks(999, errorText, log);
     },
     2},
    {"BroadcastMessage",
     [](ErrorText* errorText, const LogContext* log) {
         return BroadcastMessage("hello", errorText, log);
     },
     kOk},
    {"BroadcastMessageToStations",
     [](ErrorText* errorText, const LogContext* log) {
         return BroadcastMessageToStations("hello", kStations, errorText, log);
     },
     2},
    {"ClearConnection",
     [](ErrorText* errorText, const LogContext* log) {
         return ClearConnection(kStations, errorText, log);
     },
     2},
    {"ClearNotLoggedInConnections", ClearNotLoggedInConnections, kOk},
    {"ClearAllConnections",
     [](ErrorText* errorText, const LogContext* log) {
         return ClearAllConnections({}, errorText, log);
     },
     kOk},
};

// What a fault makes of every operation.
enum class Effect {
    kNone,      // the operation goes on as it would without it
    kExchange,  // the exchange fails with the code, and the log says so
    kMalformed, // the reply is refused
    kRefusal,   // the server's error, with its text
};

struct ServerFault {
    const char* kind; // null for none
    Effect effect;
    int code;
};

std::ostream& operator<<(std::ostream& out, const ServerFault& fault) {
    return out << (fault.kind == nullptr ? "none" : fault.kind);
}

constexpr ServerFault kFaults[] = {
    {nullptr, Effect::kNone, 0},
    {"drip", Effect::kNone, 0},
    {"refuse:zrpserv", Effect::kExchange, ECONNREFUSED},
    {"drip-header", Effect::kExchange, kShortHeader},
    {"short-header", Effect::kExchange, kShortHeader},
    {"wrong-magic", Effect::kExchange, kBadMagic},
    {"swapped-magic", Effect::kExchange, kBadMagic},
    {"status", Effect::kExchange, 5},
    {"zero-length", Effect::kMalformed, kInvalid},
    {"garbage", Effect::kMalformed, kInvalid},
    {"error-reply", Effect::kRefusal, 5},
};

class OperationUnderFault : public OperationTest,
                            public testing::WithParamInterface<ServerFault> {};

TEST_P(OperationUnderFault, HasItsCodeAndItsLine) {
    const ServerFault& fault = GetParam();
    std::vector<std::string> arguments = {"--clock", "1000"};
    if (fault.kind != nullptr) {
        arguments.insert(arguments.end(), {"--fault", fault.kind});
    }
    const SimulatedServer server(arguments);
    ASSERT_TRUE(server.ready());
    for (const auto& row : kOperations) {
        SCOPED_TRACE(row.name);
        empty_file();
        ErrorText errorText = "untouched";
        const int code = fault.effect == Effect::kNone ? row.sound : fault.code;
        EXPECT_EQ(row.run(&errorText, log), code) << errorText;
        const bool isRefused =
            fault.effect == Effect::kRefusal || (fault.effect == Effect::kNone && row.sound != kOk);
        const bool isExchanged = fault.effect != Effect::kExchange;
        EXPECT_EQ(std::string(errorText).substr(0, 2), isRefused     ? std::to_string(code) + " "
                                                       : isExchanged ? ""
                                                                     : "un");
        if (!isExchanged) {
            EXPECT_EQ(contents(), "[! TIME] IPCServRequest rc=" + std::to_string(code) + "\n");
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Server, OperationUnderFault, testing::ValuesIn(kFaults));

// Where the reply ends too early depends on its length: nothing but success and the refusal that
// the server meant are ruled out.
TEST_F(OperationTest, AShortenedReplyIsNeverTakenForAWholeOne) {
    for (const char* kind : {"early-close", "truncated"}) {
        const SimulatedServer server({"--clock", "1000", "--fault", kind});
        ASSERT_TRUE(server.ready());
        for (const auto& row : kOperations) {
            EXPECT_NE(row.run(nullptr, log), kOk) << kind << " " << row.name;
        }
    }
}

} // namespace
} // namespace zrp
