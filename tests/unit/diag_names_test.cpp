// What the daemons count and what the Diagnostics screen shows of it, spelled out: names and labels
// are agreed with the daemons to the letter.
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/requests/diag_groups.h"
#include "common/requests/diag_keys.h"

namespace zrp::diag_names_test {
namespace {

constexpr const char* kServerCounters[] = {
    "CMgr preallocated count",
    "ipcListener requests",
    "ipcListener pool count",
    "ipcListener memory request",
    "ipcListener ENOMEM",
    "ipcListener errors",
    "ipcClient rpcs",
    "ipcClient errors",
    "No Console rights count",
    "Not logged in count",
    "Bad request count",
    "Boundary check failed count",
    "No malloc space count",
    "Bad parameter count",
    "Unencrypted password tried count",
    "Fatal I/O error count",
    "Verb not supported count",
    "Virtual server addresses count",
    "Bad rpc request number count",
    "console rpc request count",
    "bks rpc request count",
    "Add Event count",
    "Event failed",
    "Add trustee events",
    "Delete trustee events",
    "Scan Deleted files events",
    "Purge Deleted file events",
    "Salvage Deleted file events",
    "Set Inherited Rights mask events",
    "Security sync events",
    "Purge volume events",
    "Scan volume user restrictions events",
    "Add volume user restrictions events",
    "Get volume user restrictions events",
    "Delete user restrictions events",
    "Set Directory quota requests",
    "Return Directory quota requests",
    "BKS events received",
    "BKS unknown event",
    "BKS event failed",
    "BKS Add trustee events",
    "BKS Delete trustee events",
    "BKS Set Inherited rights events",
    "ReplyKeepBufferFilledOut",
    "ReplyLargeBufferFilledOut",
    "ReplyDisgard",
    "ReplyKeepNoFragments",
    "openFiles",
    "openLinuxFiles",
    "normalOpenCount",
    "lazyOpenCount",
    "lazyCloseCount",
    "backgroundCloseCount",
};

constexpr const char* kBksCounters[] = {
    "Request",
    "Null message requests",
    "failed requests",
    "ipcListener requests",
    "ipcListener pool count",
    "ipcListener memory request ",
    "ipcListener ENOMEM",
    "ipcListener errors",
    "ipcClient rpcs",
    "ipcClient errors",
    "KVQ events received",
    "KVQ unknown type",
    "KVQ events failed",
    "KVQ partials",
    "Events processed",
    "Events queued",
    "Add Trustee events",
    "Remove Trustee events",
    "Set Inherited right events",
    "Change volume state events",
    "manage.cmd calls",
    "files.cmd calls",
    "linux.cmd calls",
    "Get quota requests",
    "Set quota requests",
    "Remove user quota requests",
    "Scan volume user quota requests",
    "Scan deleted files requests",
    "Purge deleted files requests",
    "Salvage deleted files requests",
    "Remove trustees requests",
    "Add trustees requests",
    "Scan trustees requests",
    "SetInheritedRightsMask requests",
    "List volumes requests",
    "Get volume info requests",
    "Get pool info requests",
    "Dismount volume requests",
    "Mount volume requests",
    "Get mount point info requests",
    "Purge volume requests",
};

struct ShownRow {
    const char* label;
    const char* key;
};

struct ShownGroup {
    int32_t type;
    const char* title;
    std::vector<ShownRow> rows;
};

const ShownGroup kShownGroups[] = {
    {1,
     "ZRP Server Directory Cache",
     {{"open ZRP Files:", "openFiles"},
      {"open Linux Files:", "openLinuxFiles"},
      {"normal Opens:", "normalOpenCount"},
      {"lazy Opens:", "lazyOpenCount"},
      {"lazy Closes:", "lazyCloseCount"},
      {"background Closes:", "backgroundCloseCount"}}},
    {2,
     "ZRP Server Comm Layer",
     {{"ReplyKeepBufferFilledOut:", "ReplyKeepBufferFilledOut"},
      {"ReplyLargeBufferFilledOut:", "ReplyLargeBufferFilledOut"},
      {"ReplyDiscard:", "ReplyDisgard"},
      {"ReplyKeepNoFragments:", "ReplyKeepNoFragments"},
      {"Verb not supported count:", "Verb not supported count"},
      {"Bad request count:", "Bad request count"}}},
    {3,
     "ZRP Server IPC/RPC",
     {{"console rpc request count:", "console rpc request count"},
      {"Bad rpc request number count:", "Bad rpc request number count"},
      {"bks rpc request count:", "bks rpc request count"},
      {"ipcClient rpcs:", "ipcClient rpcs"},
      {"ipcClient errors:", "ipcClient errors"},
      {"ipcListener requests:", "ipcListener requests"},
      {"ipcListener pool count:", "ipcListener pool count"},
      {"ipcListener memory request:", "ipcListener memory request"},
      {"ipcListener ENOMEM:", "ipcListener ENOMEM"},
      {"ipcListener errors:", "ipcListener errors"}}},
    {4,
     "ZRP Server Misc. Errors",
     {{"Not logged in count:", "Not logged in count"},
      {"Boundary check failed count:", "Boundary check failed count"},
      {"No Console rights count:", "No Console rights count"},
      {"No malloc space count:", "No malloc space count"},
      {"Bad parameter count:", "Bad parameter count"},
      {"Fatal I/O error count:", "Fatal I/O error count"},
      {"Add Event count:", "Add Event count"},
      {"Event failed:", "Event failed"}}},
    {5,
     "ZRP Server Trustees",
     {{"Add trustee events:", "Add trustee events"},
      {"Delete trustee events:", "Delete trustee events"},
      {"Security sync events:", "Security sync events"},
      {"Set Inherited Rights mask events:", "Set Inherited Rights mask events"}}},
    {6,
     "ZRP Server BKS received Events",
     {{"BKS events received:", "BKS events received"},
      {"BKS unknown event:", "BKS unknown event"},
      {"BKS event failed:", "BKS event failed"},
      {"BKS Add trustee events:", "BKS Add trustee events"},
      {"BKS Delete trustee events:", "BKS Delete trustee events"},
      {"BKS Set Inherited rights events:", "BKS Set Inherited rights events"}}},
    {7,
     "ZRP Server Delete files",
     {{"Scan Deleted files events:", "Scan Deleted files events"},
      {"Purge Deleted file events:", "Purge Deleted file events"},
      {"Salvage Deleted file events:", "Salvage Deleted file events"},
      {"Purge volume events:", "Purge volume events"}}},
    {8,
     "ZRP Server User/Directory quotas",
     {{"Scan volume user restrictions events:", "Scan volume user restrictions events"},
      {"Add volume user restrictions events:", "Add volume user restrictions events"},
      {"Get volume user restrictions events:", "Get volume user restrictions events"},
      {"Delete user restrictions events:", "Delete user restrictions events"},
      {"Set Directory quota requests:", "Set Directory quota requests"},
      {"Return Directory quota requests:", "Return Directory quota requests"}}},
    {11,
     "zrp2bks Daemon Manage Access",
     {{"manage.cmd:", "manage.cmd calls"},
      {"files.cmd:", "files.cmd calls"},
      {"linux.cmd:", "linux.cmd calls"}}},
    {12,
     "zrp2bks Daemon Requests",
     {{"requests:", "Request"},
      {"failed:", "failed requests"},
      {"null requests:", "Null message requests"}}},
    {13,
     "zrp2bks Daemon IPC/RPC",
     {{"ipcClient rpcs:", "ipcClient rpcs"},
      {"ipcClient errors:", "ipcClient errors"},
      {"ipcListener requests:", "ipcListener requests"},
      {"ipcListener pool count:", "ipcListener pool count"},
      {"ipcListener memory request:", "ipcListener memory request "},
      {"ipcListener ENOMEM:", "ipcListener ENOMEM"},
      {"ipcListener errors:", "ipcListener errors"}}},
    {14,
     "zrp2bks Daemon KVQ Events",
     {{"recieved:", "KVQ events received"},
      {"failed:", "KVQ events failed"},
      {"partials:", "KVQ partials"},
      {"unknown:", "KVQ unknown type"}}},
    {15,
     "zrp2bks Daemon Volume Access",
     {{"list volumes:", "List volumes requests"},
      {"volume info:", "Get volume info requests"},
      {"pool info:", "Get pool info requests"},
      {"dismount request:", "Dismount volume requests"},
      {"mount request:", "Mount volume requests"},
      {"mount point info:", "Get mount point info requests"},
      {"purge volume:", "Purge volume requests"},
      {"change volume state:", "Change volume state events"}}},
    {16,
     "zrp2bks Daemon User/Directory quotas",
     {{"Scan volume user quota request:", "Scan volume user quota requests"},
      {"Get Directory quota requests:", "Get quota requests"},
      {"Set Directory quota requests:", "Set quota requests"},
      {"Remove user quota requests:", "Remove user quota requests"}}},
    {17,
     "zrp2bks Daemon Deleted files",
     {{"Scan Deleted files requests:", "Scan deleted files requests"},
      {"Purge Deleted file requests:", "Purge deleted files requests"},
      {"Salvage Deleted file requests:", "Salvage deleted files requests"}}},
    {18,
     "zrp2bks Daemon Trustees",
     {{"Add trustee requests:", "Add trustees requests"},
      {"Delete trustee requests:", "Remove trustees requests"},
      {"Scan trustee requests:", "Scan trustees requests"},
      {"Set Inherited Rights mask requests:", "SetInheritedRightsMask requests"}}},
};

template <size_t N, size_t M>
void expect_names(const char* const (&held)[N], const char* const (&expected)[M]) {
    ASSERT_EQ(N, M);
    for (size_t i = 0; i < N; i++) {
        EXPECT_STREQ(held[i], expected[i]) << i;
    }
}

TEST(DiagNames, OfTheMainDaemonAre53InThisOrder) {
    expect_names(serverDiagKeys, kServerCounters);
}

TEST(DiagNames, OfTheStorageDaemonAre41InThisOrder) {
    expect_names(bksDiagKeys, kBksCounters);
}

TEST(DiagNames, OfEachGroupArePairedWithTheirLabels) {
    ASSERT_EQ(std::size(kShownGroups), 16U);
    for (const ShownGroup& expected : kShownGroups) {
        SCOPED_TRACE(expected.title);
        const DiagGroup* group = find_diag_group(expected.type);
        ASSERT_NE(group, nullptr);
        EXPECT_STREQ(group->title, expected.title);
        const DiagRow* row = group->rows;
        for (const ShownRow& shown : expected.rows) {
            ASSERT_NE(row->label, nullptr);
            EXPECT_STREQ(row->label, shown.label);
            EXPECT_STREQ(row->key, shown.key);
            row++;
        }
        EXPECT_EQ(row->label, nullptr);
    }
}

} // namespace
} // namespace zrp::diag_names_test
