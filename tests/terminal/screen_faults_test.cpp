// Faults of the simulated server beyond those in the tests of each screen: the old values stay or
// complete ones come, the first pass after the fault fills the screen, and the program always ends.

#include <csignal>
#include <string_view>

#include "tests/terminal/session.h"
#include "tests/terminal/simulator.h"
#include "tests/terminal/thread_sleeps.h"

namespace zrp::screen_faults_test {
namespace {

constexpr int kFirstMainRow = kMainTop + 1;
constexpr int kLastMainRow = kMainTop + 13;

struct FaultyScreen {
    const char* name;
    Key key;
    const char* prompt; // of its dialog; null without one
    const char* choice;
    const char* shown;   // once the screen is filled
    const char* command; // that fills it
    const char* socket;  // of the daemon that answers the command
    bool moves = true;   // whether its values change with the clock
};

constexpr FaultyScreen kGeneralFaults = {"General",         Key::kF2,           nullptr,  nullptr,
                                         "packetsAccepted", "serverStatistics", "zrpserv"};
constexpr FaultyScreen kVolumeFaults = {
    "Volume", Key::kF3, "Enter volume number", "0", "n/a", "volumeInformation", "zrpserv"};
constexpr FaultyScreen kConnectionFaults = {"Connection", Key::kF4,   "Enter connection number",
                                            "2",          "10.1.0.3", "connectionInformationTag",
                                            "zrpserv"};
constexpr FaultyScreen kServerCounterFaults = {
    "ServerCounters",      Key::kF5,      "Enter selection", "3",
    "ipcListener errors:", "diagnostics", "zrpserv"};
constexpr FaultyScreen kStorageCounterFaults = {
    "StorageCounters",          Key::kF5, "Enter selection", "15", "change volume",
    "zrp2bksDiagnosticRequest", "zrp2bks"};
constexpr FaultyScreen kParametersFaults = {
    "Parameters", Key::kF6, nullptr, nullptr, "LOG_CACHE_STATISTICS = 0", "set", "zrpserv", false};

struct ScreenFaultCase {
    FaultyScreen screen;
    const char* fault;
};

std::ostream& operator<<(std::ostream& out, const ScreenFaultCase& one) {
    return out << one.screen.name << " under " << one.fault;
}

std::string name_of_case(const testing::TestParamInfo<ScreenFaultCase>& one) {
    std::string name = std::string(one.param.screen.name) + "_" + one.param.fault;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

// A refusal concerns a daemon, every other fault one command.
std::string order_for(const ScreenFaultCase& one) {
    const std::string fault = one.fault;
    return "fault " + fault + ":" + (fault == "refuse" ? one.screen.socket : one.screen.command);
}

// What the main window shows, with its frame.
std::string figures(const Terminal& terminal) {
    std::string all;
    for (int row = kMainTop; row <= kLastMainRow + 1; row++) {
        all += terminal.row(row) + "\n";
    }
    return all;
}

bool open_screen(Terminal& terminal, const FaultyScreen& screen) {
    if (!wait_for_windows(terminal)) {
        return false;
    }
    terminal.press(screen.key);
    if (screen.prompt != nullptr) {
        if (!terminal.wait_for(screen.prompt)) {
            return false;
        }
        terminal.type(std::string(screen.choice) + "\r");
    }
    return terminal.wait_for(screen.shown);
}

void expect_frame(const Terminal& terminal) {
    EXPECT_EQ(terminal.cell(kMainTop, 1).text, kTopLeft);
    EXPECT_EQ(terminal.cell(kLastMainRow + 1, 78).text, kBottomRight);
    for (int row = kFirstMainRow; row <= kLastMainRow; row++) {
        EXPECT_EQ(terminal.cell(row, 1).text, kVertical) << row;
        EXPECT_EQ(terminal.cell(row, 78).text, kVertical) << row;
    }
}

// Whether new values may still come: slowly, or those before the damage.
bool brings_values(std::string_view fault) {
    return fault == "drip" || fault == "truncated" || fault == "unclosed";
}

// Requests with a faulty reply after which the screen has received one of these replies and shows
// what there is of it: the request after it. On General the strip asks for the same.
size_t requests_for_faults(const ScreenFaultCase& one) {
    if (std::string_view(one.fault) == "hang") {
        return 1; // which is never answered
    }
    return std::string_view(one.screen.command) == kGeneralFaults.command ? 3 : 2;
}

bool wait_for_faulty_pass(Terminal& terminal, const Simulator& server, const ScreenFaultCase& one,
                          const std::string& before) {
    const std::string_view fault = one.fault;
    if (fault == "refuse") {
        return wait_for_idle_pass(terminal);
    }
    if (fault == "drip") { // which takes long, but is whole in the end
        return terminal.wait_until([&] { return figures(terminal) != before; });
    }
    return terminal.wait_until([&] {
        return server.logged("fault=") >= requests_for_faults(one);
    }) && terminal.wait_for_rest();
}

class ScreenFault : public testing::TestWithParam<ScreenFaultCase> {};

// The server's clock is stopped until its replies are faulty, so that only a faulty reply can hold
// other figures than those shown.
TEST_P(ScreenFault, LeavesTheOldValuesAndTheNextPassFillsTheScreenAgain) {
    ZRP_NEEDS_ROOT();
    const auto& [screen, fault] = GetParam();
    Simulator server({"--clock", "1000000"});
    Terminal terminal(monitor());
    ASSERT_TRUE(open_screen(terminal, screen)) << terminal.text();
    ASSERT_TRUE(terminal.wait_for_rest());
    const std::string before = figures(terminal);
    server.control(order_for(GetParam()));
    server.control("clock 2000000");
    ASSERT_TRUE(wait_for_faulty_pass(terminal, server, GetParam(), before)) << terminal.text();
    if (!brings_values(fault)) {
        EXPECT_EQ(figures(terminal), before);
    }
    expect_frame(terminal);
    const size_t asked = server.logged(screen.command);
    server.control("fault none");
    if (std::string_view(fault) != "hang") {
        EXPECT_TRUE(terminal.wait_until([&, &screen = screen] {
            return screen.moves ? figures(terminal) != before
                                : server.logged(screen.command) > asked;
        })) << terminal.text();
    }
    expect_clean_end(terminal);
}

#define ON(screen)                                                                                 \
    ScreenFaultCase{screen, "refuse"}, ScreenFaultCase{screen, "hang"},                            \
        ScreenFaultCase{screen, "drip"}, ScreenFaultCase{screen, "drip-header"},                   \
        ScreenFaultCase{screen, "swapped-magic"}, ScreenFaultCase{screen, "long-length"},          \
        ScreenFaultCase{screen, "truncated"}, ScreenFaultCase {                                    \
        screen, "unclosed"                                                                         \
    }

INSTANTIATE_TEST_SUITE_P(Kinds, ScreenFault,
                         testing::Values(ON(kGeneralFaults), ON(kVolumeFaults),
                                         ON(kServerCounterFaults), ON(kStorageCounterFaults),
                                         ScreenFaultCase{kConnectionFaults, "refuse"},
                                         ScreenFaultCase{kParametersFaults, "refuse"}),
                         name_of_case);

// A dialog whose list is faulty when it opens.
class DialogFault : public testing::TestWithParam<ScreenFaultCase> {};

constexpr FaultyScreen kVolumeListFaults = {
    "VolumeList", Key::kF3, "Enter volume number", nullptr, nullptr, "listVolumes", "zrpserv"};
constexpr FaultyScreen kConnectionListFaults = {
    "ConnectionList",  Key::kF4, "Enter connection number", nullptr, nullptr,
    "listConnections", "zrpserv"};

TEST_P(DialogFault, LetsItOpenLater) {
    ZRP_NEEDS_ROOT();
    const auto& [screen, fault] = GetParam();
    Simulator server;
    Terminal terminal(monitor());
    ASSERT_TRUE(open_screen(terminal, kGeneralFaults));
    server.control(order_for(GetParam()));
    terminal.press(screen.key);
    if (std::string_view(fault) != "refuse") { // which the server does not log
        ASSERT_TRUE(terminal.wait_until([&] { return server.logged("fault=") >= 1; }));
    }
    ASSERT_TRUE(terminal.wait_for_rest());
    if (std::string_view(fault) == "hang") {
        terminal.child().send_signal(SIGTERM);
        expect_ended_cleanly(terminal);
        return;
    }
    if (!brings_values(fault)) {
        EXPECT_EQ(terminal.raw_output().find(screen.prompt), std::string::npos);
        expect_frame(terminal);
    }
    server.control("fault none");
    terminal.press(screen.key);
    EXPECT_TRUE(terminal.wait_for(screen.prompt)) << terminal.text();
    expect_clean_end(terminal);
}

INSTANTIATE_TEST_SUITE_P(Kinds, DialogFault,
                         testing::Values(ON(kVolumeListFaults),
                                         ScreenFaultCase{kConnectionListFaults, "refuse"}),
                         name_of_case);

#undef ON

} // namespace
} // namespace zrp::screen_faults_test
