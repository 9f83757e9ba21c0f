// From dialog to dialog without a choice.

#include "tests/terminal/session.h"
#include "tests/terminal/simulator.h"

namespace zrp {
namespace {

constexpr const char* kVolumePrompt = "Enter volume number";
constexpr const char* kConnectionPrompt = "Enter connection number";
constexpr const char* kDiagnosticsPrompt = "Enter selection";
constexpr const char* kParameter = "MAXIMUM_CACHED_FILES_PER_VOLUME";
constexpr const char* kStatistic = "packetsAccepted: ";

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
    ASSERT_TRUE(terminal.wait_for(kStatistic));
    Key key = GetParam().first;
    for (const char* shown : GetParam().shown) {
        terminal.press(key);
        ASSERT_TRUE(terminal.wait_for(shown)) << terminal.text();
        key = GetParam().key;
    }
    for (const char* prompt : {kVolumePrompt, kConnectionPrompt, kDiagnosticsPrompt}) {
        EXPECT_EQ(terminal.screen().find_row(prompt), -1) << terminal.text();
    }
    expect_clean_end(terminal);
}

const std::vector<const char*> kForward = {kVolumePrompt, kConnectionPrompt, kDiagnosticsPrompt,
                                           kParameter};
const std::vector<const char*> kBackward = {kDiagnosticsPrompt, kConnectionPrompt, kVolumePrompt,
                                            kStatistic};

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
    ASSERT_TRUE(terminal.wait_for(kStatistic));
    for (const char* prompt : {kVolumePrompt, kConnectionPrompt, kDiagnosticsPrompt}) {
        terminal.press(Key::kTab);
        ASSERT_TRUE(terminal.wait_for(prompt)) << terminal.text();
    }
    terminal.type("q\r");
    EXPECT_TRUE(terminal.wait_for(kStatistic)) << terminal.text();
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
    ASSERT_TRUE(terminal.wait_for(kStatistic));
    terminal.press(GetParam().dialog);
    ASSERT_TRUE(terminal.wait_for(GetParam().prompt)) << terminal.text();
    terminal.press(GetParam().key);
    EXPECT_TRUE(terminal.wait_for(GetParam().shown)) << terminal.text();
    EXPECT_EQ(terminal.screen().find_row(GetParam().prompt), -1);
    expect_clean_end(terminal);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, DialogJump,
    testing::Values(Jump{"VolumeF4", Key::kF3, kVolumePrompt, Key::kF4, kConnectionPrompt},
                    Jump{"VolumeF5", Key::kF3, kVolumePrompt, Key::kF5, kDiagnosticsPrompt},
                    Jump{"VolumeF6", Key::kF3, kVolumePrompt, Key::kF6, kParameter},
                    Jump{"VolumeF7", Key::kF3, kVolumePrompt, Key::kF7, "ZRP Server Components"},
                    Jump{"ConnectionF7", Key::kF4, kConnectionPrompt, Key::kF7,
                         "ZRP Server Components"},
                    Jump{"DiagnosticsF3", Key::kF5, kDiagnosticsPrompt, Key::kF3, kVolumePrompt}),
    [](const auto& jump) { return std::string(jump.param.name); });

} // namespace
} // namespace zrp
