// From dialog to dialog without a choice.

#include "tests/terminal/session.h"
#include "tests/terminal/simulator.h"

namespace zrp::dialog_chain_test {
namespace {

constexpr const char* kChainParameter = "MAXIMUM_CACHED_FILES_PER_VOLUME";
constexpr const char* kChainStatistic = "packetsAccepted: ";

struct Chain {
    const char* name;
    Key first; // on the screen that is shown
    Key key;   // in each dialog
    std::vector<const char*> shown;
};

std::ostream& operator<<(std::ostream& out, const Chain& chain) {
    return out << chain.name;
}

class DialogChain : public testing::TestWithParam<Chain> {};

TEST_P(DialogChain, LeadsThroughAllThree) {
    ZRP_NEEDS_ROOT();
    const Simulator server;
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for(kChainStatistic));
    Key key = GetParam().first;
    for (const char* shown : GetParam().shown) {
        terminal.press(key);
        ASSERT_TRUE(terminal.wait_for(shown)) << terminal.text();
        key = GetParam().key;
    }
    for (const char* prompt : {kVolumeDialog, kConnectionDialog, kDiagnosticsDialog}) {
        EXPECT_EQ(terminal.screen().find_row(prompt), -1) << terminal.text();
    }
    expect_clean_end(terminal);
}

const std::vector<const char*> kForward = {kVolumeDialog, kConnectionDialog, kDiagnosticsDialog,
                                           kChainParameter};
const std::vector<const char*> kBackward = {kDiagnosticsDialog, kConnectionDialog, kVolumeDialog,
                                            kChainStatistic};

INSTANTIATE_TEST_SUITE_P(Keys, DialogChain,
                         testing::Values(Chain{"Tab", Key::kTab, Key::kTab, kForward},
                                         Chain{"Right", Key::kRight, Key::kRight, kForward},
                                         Chain{"PageDown", Key::kF3, Key::kPageDown, kForward},
                                         Chain{"ShiftTab", Key::kF5, Key::kShiftTab, kBackward},
                                         Chain{"Left", Key::kF5, Key::kLeft, kBackward},
                                         Chain{"PageUp", Key::kF5, Key::kPageUp, kBackward}),
                         [](const auto& chain) { return std::string(chain.param.name); });

// After quitting the last dialog the first screen is shown: none of the others was switched to.
TEST(DialogsInARow, SwitchToNoScreenOnTheWay) {
    ZRP_NEEDS_ROOT();
    const Simulator server;
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for(kChainStatistic));
    for (const char* prompt : {kVolumeDialog, kConnectionDialog, kDiagnosticsDialog}) {
        terminal.press(Key::kTab);
        ASSERT_TRUE(terminal.wait_for(prompt)) << terminal.text();
    }
    terminal.type("q\r");
    EXPECT_TRUE(terminal.wait_for(kChainStatistic)) << terminal.text();
    expect_clean_end(terminal);
}

// A function key leads from any dialog to any screen.
struct Jump {
    const char* name;
    Key dialog;
    const char* prompt;
    Key key;
    const char* shown;
};

std::ostream& operator<<(std::ostream& out, const Jump& jump) {
    return out << jump.name;
}

class DialogJump : public testing::TestWithParam<Jump> {};

TEST_P(DialogJump, OpensTheScreenOfTheKey) {
    ZRP_NEEDS_ROOT();
    const Simulator server;
    Terminal terminal(monitor());
    ASSERT_TRUE(terminal.wait_for(kChainStatistic));
    terminal.press(GetParam().dialog);
    ASSERT_TRUE(terminal.wait_for(GetParam().prompt)) << terminal.text();
    terminal.press(GetParam().key);
    EXPECT_TRUE(terminal.wait_for(GetParam().shown)) << terminal.text();
    EXPECT_EQ(terminal.screen().find_row(GetParam().prompt), -1);
    expect_clean_end(terminal);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, DialogJump,
    testing::Values(Jump{"VolumeF4", Key::kF3, kVolumeDialog, Key::kF4, kConnectionDialog},
                    Jump{"VolumeF5", Key::kF3, kVolumeDialog, Key::kF5, kDiagnosticsDialog},
                    Jump{"VolumeF6", Key::kF3, kVolumeDialog, Key::kF6, kChainParameter},
                    Jump{"VolumeF7", Key::kF3, kVolumeDialog, Key::kF7, "ZRP Server Components"},
                    Jump{"ConnectionF7", Key::kF4, kConnectionDialog, Key::kF7,
                         "ZRP Server Components"},
                    Jump{"DiagnosticsF3", Key::kF5, kDiagnosticsDialog, Key::kF3, kVolumeDialog}),
    [](const auto& jump) { return std::string(jump.param.name); });

} // namespace
} // namespace zrp::dialog_chain_test
