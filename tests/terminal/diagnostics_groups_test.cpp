// All groups of counters on the simulated server.
#include "tests/terminal/diagnostics_fixture.h"
#include "tests/terminal/simulator.h"

namespace zrp::diagnostics_groups_test {
namespace {

using namespace diagnostics_fixture;

struct Group {
    const char* choice;
    const char* title;
    std::vector<std::string> labels;
};

std::ostream& operator<<(std::ostream& out, const Group& group) {
    return out << group.choice;
}

class DiagnosticsGroup : public testing::TestWithParam<Group> {
protected:
    void SetUp() override {
        ZRP_NEEDS_ROOT();
    }

    static void expect_group(Terminal& terminal) {
        const Group& group = GetParam();
        ASSERT_TRUE(wait_for_windows(terminal));
        ASSERT_TRUE(choose(terminal, group.choice));
        ASSERT_TRUE(terminal.wait_for_text(kTop + 1, kLeft + 5, group.title)) << terminal.text();
        const int last = 1 + static_cast<int>(group.labels.size());
        ASSERT_TRUE(terminal.wait_until([&] { return value_at(terminal, last, 1) != " "; }))
            << terminal.text();
        for (int line = 2; line <= last; line++) {
            std::string label = group.labels.at(static_cast<size_t>(line - 2));
            const size_t width =
                label.starts_with("BKS Add") || label.starts_with("BKS Del") ? 38 : 37;
            label.insert(0, width - label.size(), ' ');
            EXPECT_EQ(inside(terminal, line).substr(0, 38), label + std::string(38 - width, ' '));
            EXPECT_EQ(value_at(terminal, line, 1).find_first_of("-0123456789"), 0U) << line;
        }
        EXPECT_EQ(inside(terminal, last + 1), std::string(76, ' '));
        expect_clean_end(terminal);
    }

    const Simulator server;
};

TEST_P(DiagnosticsGroup, ShowsTitleLabelsAndValuesOnTheSmallScreen) {
    Terminal terminal(monitor(25, 80));
    expect_group(terminal);
}

TEST_P(DiagnosticsGroup, ShowsTitleLabelsAndValuesOnALargeScreen) {
    Terminal terminal(monitor(40, 100));
    expect_group(terminal);
}

INSTANTIATE_TEST_SUITE_P(
    All, DiagnosticsGroup,
    testing::Values(
        Group{"1",
              "ZRP Server Directory Cache",
              {"open ZRP Files:", "open Linux Files:", "normal Opens:", "lazy Opens:",
               "lazy Closes:", "background Closes:"}},
        Group{"2",
              "ZRP Server Comm Layer",
              {"ReplyKeepBufferFilledOut:", "ReplyLargeBufferFilledOut:", "ReplyDiscard:",
               "ReplyKeepNoFragments:", "Verb not supported count:", "Bad request count:"}},
        Group{"3",
              "ZRP Server IPC/RPC",
              {"console rpc request count:", "Bad rpc request number count:",
               "bks rpc request count:", "ipcClient rpcs:", "ipcClient errors:",
               "ipcListener requests:", "ipcListener pool count:", "ipcListener memory request:",
               "ipcListener ENOMEM:", "ipcListener errors:"}},
        Group{"4",
              "ZRP Server Misc. Errors",
              {"Not logged in count:", "Boundary check failed count:", "No Console rights count:",
               "No malloc space count:", "Bad parameter count:", "Fatal I/O error count:",
               "Add Event count:", "Event failed:"}},
        Group{"5",
              "ZRP Server Trustees",
              {"Add trustee events:", "Delete trustee events:", "Security sync events:",
               "Set Inherited Rights mask events:"}},
        Group{"6",
              "ZRP Server BKS received Events",
              {"BKS events received:", "BKS unknown event:", "BKS event failed:",
               "BKS Add trustee events:", "BKS Delete trustee events:",
               "BKS Set Inherited rights events:"}},
        Group{"7",
              "ZRP Server Delete files",
              {"Scan Deleted files events:", "Purge Deleted file events:",
               "Salvage Deleted file events:", "Purge volume events:"}},
        Group{"8",
              "ZRP Server User/Directory quotas",
              {"Scan volume user restrictions events:", "Add volume user restrictions events:",
               "Get volume user restrictions events:", "Delete user restrictions events:",
               "Set Directory quota requests:", "Return Directory quota requests:"}},
        Group{"11", "zrp2bks Daemon Manage Access", {"manage.cmd:", "files.cmd:", "linux.cmd:"}},
        Group{"12", "zrp2bks Daemon Requests", {"requests:", "failed:", "null requests:"}},
        Group{"13",
              "zrp2bks Daemon IPC/RPC",
              {"ipcClient rpcs:", "ipcClient errors:", "ipcListener requests:",
               "ipcListener pool count:", "ipcListener memory request:", "ipcListener ENOMEM:",
               "ipcListener errors:"}},
        Group{"14", "zrp2bks Daemon KVQ Events", {"recieved:", "failed:", "partials:", "unknown:"}},
        Group{"15",
              "zrp2bks Daemon Volume Access",
              {"list volumes:", "volume info:", "pool info:", "dismount request:", "mount request:",
               "mount point info:", "purge volume:", "change volume state:"}},
        Group{"16",
              "zrp2bks Daemon User/Directory quotas",
              {"Scan volume user quota request:", "Get Directory quota requests:",
               "Set Directory quota requests:", "Remove user quota requests:"}},
        Group{"17",
              "zrp2bks Daemon Deleted files",
              {"Scan Deleted files requests:", "Purge Deleted file requests:",
               "Salvage Deleted file requests:"}},
        Group{"18",
              "zrp2bks Daemon Trustees",
              {"Add trustee requests:", "Delete trustee requests:", "Scan trustee requests:",
               "Set Inherited Rights mask requests:"}}),
    [](const auto& group) { return std::string("Group") + group.param.choice; });

} // namespace
} // namespace zrp::diagnostics_groups_test
