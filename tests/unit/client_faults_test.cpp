// Every function of the C++ face against daemons that fail in each way.
#include <cerrno>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "common/client.h"
#include "tests/support/scripted_peer.h"

namespace zrp::client_faults_test {
namespace {

using namespace std::string_view_literals;

// An answer of any kind, and whether it came with a value.
struct Outcome {
    int code;
    std::string error;
};

template <typename T>
Outcome outcome(const client::Answer<T>& answer) {
    EXPECT_EQ(static_cast<bool>(answer), answer.code == kOk);
    if constexpr (requires { answer.value.empty(); }) {
        EXPECT_TRUE(answer || answer.value.empty());
    }
    return {answer.code, answer.error};
}

constexpr int32_t kStations[] = {1, 2};
constexpr client::ClusterMount kMounts[] = {{"DATA"}};

// What a function makes of a reply that says nothing, and of one of another command.
enum class Empty {
    kFailure,
    kSuccess,  // nobody looks at the reply
    kNoFilter, // only the first is a failure
};

struct Function {
    const char* name;
    const char* daemon;
    Outcome (*run)();
    Empty empty = Empty::kFailure;
    bool hasError = true; // whether the server's words reach the caller
};

std::ostream& operator<<(std::ostream& out, const Function& function) {
    return out << function.name;
}

#define CALL(call) [] { return outcome(client::call); }

constexpr const char* kMain = kMainDaemonSocket;
constexpr const char* kStorage = kStorageDaemonSocket;

const Function kFunctions[] = {
    {"ForEachVolume", kMain, CALL(ForEachVolume([](const client::Volume&) {}))},
    {"ListVolumes", kMain, CALL(ListVolumes())},
    {"GetVolume", kMain, CALL(GetVolume("DATA"))},
    {"CreateVolume", kMain, CALL(CreateVolume("DATA", "/srv"))},
    {"RemoveVolume", kMain, CALL(RemoveVolume("DATA"))},
    {"RemoveVolumeWithOptions", kMain, CALL(RemoveVolume("DATA", "force"))},
    {"ModifyVolume", kMain, CALL(ModifyVolume("DATA", 1, 2))},
    {"PurgeVolume", kMain, CALL(PurgeVolume("DATA"))},
    {"FlushVolumes", kMain, CALL(FlushVolumes())},
    {"ControlVolumeTree", kMain, CALL(ControlVolumeTree("DATA", 1)), Empty::kSuccess},
    {"MountVolumes", kMain, CALL(MountVolumes("DATA"))},
    {"DismountVolumes", kMain, CALL(DismountVolumes("DATA"))},
    {"MountAllVolumes", kMain, CALL(MountAllVolumes())},
    {"DismountAllVolumes", kMain, CALL(DismountAllVolumes())},
    {"CreateShadowVolume", kMain, CALL(CreateShadowVolume("DATA", "/s", "/srv"))},
    {"RemoveShadowVolume", kMain, CALL(RemoveShadowVolume("DATA"))},
    {"RemoveShadowVolumeAt", kMain, CALL(RemoveShadowVolume("DATA", "/srv"))},
    {"RemoveShadowConfiguration", kMain, CALL(RemoveShadowConfiguration("DATA", "/srv", "S"))},
    {"ForEachConnection", kMain, CALL(ForEachConnection([](const client::Connection&) {}))},
    {"ListConnections", kMain, CALL(ListConnections())},
    {"GetConnection", kMain, CALL(GetConnection(1))},
    {"GetConnectionSlots", kMain, CALL(GetConnectionSlots())},
    {"ClearConnections", kMain, CALL(ClearConnections(kStations))},
    {"ClearAllConnections", kMain, CALL(ClearAllConnections())},
    {"ClearNotLoggedInConnections", kMain, CALL(ClearNotLoggedInConnections())},
    {"Broadcast", kMain, CALL(Broadcast("hello"))},
    {"BroadcastTo", kMain, CALL(BroadcastTo(kStations, "hello"))},
    {"ForEachOpenFiles", kMain, CALL(ForEachOpenFiles("SYS", [](const client::OpenFiles&) {}))},
    {"ListOpenFiles", kMain, CALL(ListOpenFiles())},
    {"ListLocks", kMain, CALL(ListLocks("SYS:a"))},
    {"CloseFile", kMain, CALL(CloseFile("SYS:a"))},
    {"CloseConnectionLocks", kMain, CALL(CloseConnectionLocks(1))},
    {"ListServerCounters", kMain, CALL(ListServerCounters())},
    {"ResetServerCounters", kMain, CALL(ResetServerCounters())},
    {"ListStorageCounters", kStorage, CALL(ListStorageCounters())},
    {"ResetStorageCounters", kStorage, CALL(ResetStorageCounters())},
    {"ListStatistics", kMain, CALL(ListStatistics())},
    {"GetServerCounters", kMain, CALL(GetServerCounters())},
    {"GetThreads", kMain, CALL(GetThreads())},
    {"ListSettings", kMain, CALL(ListSettings())},
    {"GetSetting", kMain, CALL(GetSetting("LOG_LEVEL"))},
    {"SetSetting", kMain, CALL(SetSetting("LOG_LEVEL", "DEBUG"))},
    {"GetServerConfig", kMain, CALL(GetServerConfig())},
    {"SetServerConfig", kMain, CALL(SetServerConfig("signingLevel", "1"))},
    {"GetEngineVersion", kMain, CALL(GetEngineVersion()), Empty::kSuccess, false},
    {"GetStorageVersion", kStorage, CALL(GetStorageVersion()), Empty::kFailure, false},
    {"GetManagementVersion", kManagementSocket, CALL(GetManagementVersion()), Empty::kSuccess,
     false},
    {"EnableLogin", kMain, CALL(EnableLogin())},
    {"DisableLogin", kMain, CALL(DisableLogin())},
    {"BindAddress", kMain, CALL(BindAddress("V1", "10.0.0.1"))},
    {"UnbindAddress", kMain, CALL(UnbindAddress("V1", "10.0.0.1"))},
    {"MountClusterVolumes", kMain, CALL(MountClusterVolumes(kMounts))},
    {"IncludeVolume", kStorage, CALL(IncludeVolume("DATA")), Empty::kSuccess, false},
    {"ExcludeVolume", kStorage, CALL(ExcludeVolume("DATA")), Empty::kSuccess, false},
    {"ListFilters", kStorage, CALL(ListFilters()), Empty::kNoFilter, false},
    {"SetStorageLogLevel", kStorage, CALL(SetStorageLogLevel("DEBUG")), Empty::kSuccess},
};

class ClientFaults : public ::testing::Test {
protected:
    const client::Session session;
};

Outcome answered(const Function& function, const PeerScript& script) {
    const ScriptedPeer peer(function.daemon, {script});
    return function.run();
}

TEST_F(ClientFaults, NobodyListens) {
    for (const Function& function : kFunctions) {
        const Outcome got = function.run();
        EXPECT_EQ(got.code, ECONNREFUSED) << function;
        EXPECT_EQ(got.error, "") << function;
    }
}

TEST_F(ClientFaults, TheDaemonHangsUp) {
    for (const Function& function : kFunctions) {
        EXPECT_EQ(answered(function, {}).code, kShortHeader) << function;
    }
}

TEST_F(ClientFaults, TheHeaderHasAStatus) {
    for (const Function& function : kFunctions) {
        EXPECT_EQ(answered(function, {read_request(), send_bytes(reply("<r/>", 5))}).code, 5)
            << function;
    }
}

TEST_F(ClientFaults, TheServerReportsAnError) {
    const std::string error = "<r><result value=\"-5\"><description>no such volume</description>"
                              "</result></r>";
    for (const Function& function : kFunctions) {
        const Outcome got = answered(function, {read_request(), send_bytes(reply(error))});
        EXPECT_EQ(got.code, -5) << function;
        EXPECT_EQ(got.error, function.hasError ? "-5 no such volume" : "") << function;
    }
}

TEST_F(ClientFaults, TheReplyIsEmpty) {
    for (const Function& function : kFunctions) {
        const Outcome got = answered(function, {read_request(), send_bytes(reply(""))});
        EXPECT_EQ(got.code == kOk, function.empty == Empty::kSuccess) << function;
        EXPECT_EQ(got.error, "") << function;
    }
}

// An envelope that is whole and holds no command; what looks at the reply must not take it for an
// empty list.
TEST_F(ClientFaults, TheReplyHoldsNoCommand) {
    for (const Function& function : kFunctions) {
        for (const char* text :
             {"<zrpConsoleReply><other></other></zrpConsoleReply>", "<zrpConsoleReply/>",
              "<zrp2bksDiagnosticReply><other></other></zrp2bksDiagnosticReply>"}) {
            const Outcome got = answered(function, {read_request(), send_bytes(reply(text))});
            if (function.empty == Empty::kFailure) {
                EXPECT_NE(got.code, kOk) << function;
            }
        }
    }
}

// Functions of the main daemon ask the one that the session names.
TEST_F(ClientFaults, WithoutASessionTheMainDaemonIsNotKnown) {
    IPCServTerm();
    for (const Function& function : kFunctions) {
        if (function.daemon == kMain) {
            EXPECT_EQ(function.run().code, kInvalid) << function;
        }
    }
}

// A text with a NUL inside, in the place of each argument. Nobody listens: what was sent would
// fail with ECONNREFUSED.
const Function kNulArguments[] = {
    {"GetVolume", kMain, CALL(GetVolume("A\0B"sv))},
    {"CreateVolume, name", kMain, CALL(CreateVolume("A\0B"sv, "/srv"))},
    {"CreateVolume, directory", kMain, CALL(CreateVolume("A", "\0"sv))},
    {"RemoveVolume, name", kMain, CALL(RemoveVolume("A\0"sv))},
    {"RemoveVolume, options", kMain, CALL(RemoveVolume("A", "\0"sv))},
    {"ModifyVolume", kMain, CALL(ModifyVolume("A\0B"sv, 1, 2))},
    {"PurgeVolume", kMain, CALL(PurgeVolume("A\0B"sv))},
    {"ControlVolumeTree", kMain, CALL(ControlVolumeTree("A\0B"sv, 1))},
    {"MountVolumes", kMain, CALL(MountVolumes("A\0B"sv))},
    {"DismountVolumes", kMain, CALL(DismountVolumes("A\0B"sv))},
    {"CreateShadowVolume, name", kMain, CALL(CreateShadowVolume("\0"sv, "/s", "/srv"))},
    {"CreateShadowVolume, directory", kMain, CALL(CreateShadowVolume("A", "\0"sv, "/srv"))},
    {"CreateShadowVolume, mount point", kMain, CALL(CreateShadowVolume("A", "/s", "\0"sv))},
    {"RemoveShadowVolume, name", kMain, CALL(RemoveShadowVolume("\0"sv))},
    {"RemoveShadowVolume, mount point", kMain, CALL(RemoveShadowVolume("A", "\0"sv))},
    {"RemoveShadowConfiguration, name", kMain,
     CALL(RemoveShadowConfiguration("\0"sv, "/srv", "S"))},
    {"RemoveShadowConfiguration, shadow", kMain,
     CALL(RemoveShadowConfiguration("A", "/srv", "\0"sv))},
    {"Broadcast", kMain, CALL(Broadcast("A\0B"sv))},
    {"BroadcastTo", kMain, CALL(BroadcastTo(kStations, "A\0B"sv))},
    {"ListOpenFiles", kMain, CALL(ListOpenFiles("\0"sv))},
    {"ListLocks", kMain, CALL(ListLocks("A\0B"sv))},
    {"CloseFile", kMain, CALL(CloseFile("A\0B"sv))},
    {"ListStorageCounters", kStorage, CALL(ListStorageCounters("\0"sv))},
    {"GetSetting", kMain, CALL(GetSetting("A\0B"sv))},
    {"SetSetting, name", kMain, CALL(SetSetting("A\0B"sv, "1"))},
    {"SetSetting, value", kMain, CALL(SetSetting("A", "\0"sv))},
    {"SetServerConfig, name", kMain, CALL(SetServerConfig("\0"sv, "1"))},
    {"SetServerConfig, value", kMain, CALL(SetServerConfig("A", "\0"sv))},
    {"EnableLogin, volume", kMain, CALL(EnableLogin({.volume = "\0"sv}))},
    {"DisableLogin, message", kMain, CALL(DisableLogin({.message = "\0"sv}))},
    {"BindAddress, server", kMain, CALL(BindAddress("\0"sv, "10.0.0.1"))},
    {"UnbindAddress, address", kMain, CALL(UnbindAddress("V1", "\0"sv))},
    {"IncludeVolume", kStorage, CALL(IncludeVolume("A\0B"sv))},
    {"ExcludeVolume", kStorage, CALL(ExcludeVolume("A\0B"sv))},
    {"GetMountPoint", kStorage, CALL(GetMountPoint("A\0B"sv))},
    {"SetFilter", kStorage, CALL(SetFilter("A\0B"sv, 1))},
    {"SetStorageLogLevel", kStorage, CALL(SetStorageLogLevel("A\0B"sv))},
};

TEST_F(ClientFaults, ATextWithANulInsideIsRefused) {
    for (const Function& function : kNulArguments) {
        EXPECT_EQ(function.run().code, kInvalid) << function;
    }
}

} // namespace
} // namespace zrp::client_faults_test
