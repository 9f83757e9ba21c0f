// Every operation of the storage daemon's control against a simulated server that spoils its
// replies.
#include "common/requests/storage_control.h"
#include "tests/support/simulated_server.h"
#include "tests/unit/operation_faults.h"
#include "tests/unit/server_faults.h"

namespace zrp::storage_server_faults_test {
namespace {

constexpr const char* kDaemon = "zrp2bks";

// What becomes of an operation: its code, and the lines in the log.
struct End {
    int code;
    const char* log = "";
};

struct Operation {
    const char* name;
    int (*run)(const LogContext* log);
    bool logsExchange; // whether a failed exchange has a line
    End sound;
    End malformed;
    End halved;
    End unclosed;
    End refused;
};

void take_volume(const char*, int32_t, void*) {}

void take_filter(const char*, const char*, void*) {}

constexpr const char* kListMarks = "[! TIME] IPCBKSControlList: [1] rc=2\n"
                                   "[! TIME] IPCBKSControlList: [2] rc=2\n"
                                   "[! TIME] IPCBKSControlList: [3] rc=2\n"
                                   "[! TIME] IPCBKSControlList: [4] rc=2\n";
constexpr const char* kRefusedMarks = "[! TIME] IPCBKSControlList: [1] rc=5\n"
                                      "[! TIME] IPCBKSControlList: [2] rc=5\n"
                                      "[! TIME] IPCBKSControlList: [3] rc=5\n"
                                      "[! TIME] IPCBKSControlList: [4] rc=5\n";
constexpr const char* kNoFilters =
    "[! TIME] IPCBKSControlFilterList: XML_GetTagElement(\"list\") rc=2\n";
constexpr const char* kRefusedFilters = "[! TIME] IPCBKSControlFilterList: CheckForError() rc=5\n";

constexpr Operation kOperations[] = {
    {"IPCBKSControlList",
     [](const LogContext* log) { return IPCBKSControlList(take_volume, nullptr, log, kBothLists); },
     true,
     {kOk},
     {kNotFound, kListMarks},
     {kNotFound, kListMarks},
     {kNotFound}, // a name that is not closed breaks it off
     {kSimulatedCode, kRefusedMarks}},
    // The server includes the volume already: a refusal is known by its first half, and no more of
    // a reply is looked at.
    {"IPCBKSControlAction",
     [](const LogContext* log) { return IPCBKSControlAction(log, kAddToControl, "DATA"); },
     true,
     {EEXIST},
     {kOk},
     {EEXIST},
     {EEXIST},
     {kSimulatedCode}},
    {"IPCBKSControlActionGetMountPoint",
     [](const LogContext* log) {
         StorageMountPoint mountPoint;
         return IPCBKSControlActionGetMountPoint(log, "DATA", mountPoint);
     },
     true,
     {kOk},
     {kNotFound},
     {kNotFound},
     {kNotFound},
     {kSimulatedCode}},
    {"IPCBKSControlFilterList",
     [](const LogContext* log) { return IPCBKSControlFilterList(take_filter, nullptr, log); },
     true,
     {kOk},
     {kNotFound, kNoFilters},
     {kNotFound, kNoFilters},
     {kOk}, // the filter is passed over
     {kSimulatedCode, kRefusedFilters}},
    // Nobody looks at the replies of these.
    {"IPCBKSControlFilterSet",
     [](const LogContext* log) { return IPCBKSControlFilterSet(log, "events", 255); },
     true,
     {kOk},
     {kOk},
     {kOk},
     {kOk},
     {kOk}},
    {"IPCBKSControlFilterReset",
     IPCBKSControlFilterReset,
     false,
     {kOk},
     {kOk},
     {kOk},
     {kOk},
     {kOk}},
    {"IPCBKSControlFilterOff", IPCBKSControlFilterOff, false, {kOk}, {kOk}, {kOk}, {kOk}, {kOk}},
};

const End& end_of(const Operation& row, Effect effect) {
    switch (effect) {
    case Effect::kMalformed:
        return row.malformed;
    case Effect::kHalved:
        return row.halved;
    case Effect::kUnclosed:
        return row.unclosed;
    case Effect::kRefusal:
        return row.refused;
    default:
        return row.sound;
    }
}

std::string failed_line(const Operation& row, int code) {
    return row.logsExchange ? "[! TIME] " + std::string(row.name) +
                                  ": IPCServRequestEx() rc=" + std::to_string(code) + "\n"
                            : "";
}

class StorageUnderFault : public OperationTest, public testing::WithParamInterface<ServerFault> {};

INSTANTIATE_TEST_SUITE_P(Server, StorageUnderFault, testing::ValuesIn(kServerFaults));

TEST_P(StorageUnderFault, HasItsCodeAndItsLines) {
    const ServerFault& fault = GetParam();
    const SimulatedServer server(spoilt_server(fault.kind, kDaemon));
    ASSERT_TRUE(server.ready());
    for (const auto& row : kOperations) {
        SCOPED_TRACE(row.name);
        empty_file();
        const bool isExchanged = fault.effect != Effect::kExchange;
        const End& end = end_of(row, fault.effect);
        EXPECT_EQ(row.run(log), isExchanged ? end.code : fault.code);
        EXPECT_EQ(contents(), isExchanged ? end.log : failed_line(row, fault.code));
    }
}

using SilentStorageDaemon = OperationTest;

TEST_F(SilentStorageDaemon, IsBrokenOffInEveryOperation) {
    const SimulatedServer server(spoilt_server("hang", kDaemon));
    ASSERT_TRUE(server.ready());
    for (const auto& row : kOperations) {
        SCOPED_TRACE(row.name);
        empty_file();
        expect_broken_off([&] { return row.run(log); });
        EXPECT_EQ(contents(), failed_line(row, ECANCELED));
    }
}

} // namespace
} // namespace zrp::storage_server_faults_test
