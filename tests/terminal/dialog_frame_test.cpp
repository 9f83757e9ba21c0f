// The selection dialogs on the smallest permitted terminal: whatever is listed and typed, nothing
// outside their window changes and their frame stays intact.

#include "tests/terminal/session.h"
#include "tests/terminal/simulator.h"

namespace zrp::dialog_frame_test {
namespace {

constexpr int kRows = 25;
constexpr int kColumns = 40;
constexpr int kLeft = 1;
constexpr int kRight = 38;

struct DialogCase {
    const char* name;
    Key key;
    const char* prompt;
    int height;
};

std::ostream& operator<<(std::ostream& out, const DialogCase& dialog) {
    return out << dialog.name;
}

class SmallDialog : public testing::TestWithParam<DialogCase> {
protected:
    void SetUp() override {
        ZRP_NEEDS_ROOT();
        ASSERT_TRUE(terminal.wait_for("packetsAccepted"));
        ASSERT_TRUE(terminal.wait_for_text(kStripTextRow, kUpTimeColumn, "11 Days"))
            << terminal.text();
        ASSERT_TRUE(terminal.wait_for_rest());
        before = terminal.screen().snapshot();
        terminal.press(GetParam().key);
        ASSERT_TRUE(terminal.wait_for(GetParam().prompt));
        expect_window_only("opened");
    }

    [[nodiscard]] int bottom() const {
        return kMainTop + GetParam().height - 1;
    }

    void expect_window_only(const char* when) const {
        SCOPED_TRACE(when);
        for (int row = 0; row < kRows; row++) {
            for (int column = 0; column < kColumns; column++) {
                const bool inside =
                    row >= kMainTop && row <= bottom() && column >= kLeft && column <= kRight;
                if (!inside) {
                    EXPECT_EQ(terminal.cell(row, column), before.at(row, column))
                        << row << ", " << column;
                }
            }
        }
        expect_frame();
    }

    void expect_frame() const {
        EXPECT_EQ(terminal.cell(kMainTop, kLeft).text, kTopLeft);
        EXPECT_EQ(terminal.cell(kMainTop, kRight).text, kTopRight);
        EXPECT_EQ(terminal.cell(bottom(), kLeft).text, kBottomLeft);
        EXPECT_EQ(terminal.cell(bottom(), kRight).text, kBottomRight);
        for (int row = kMainTop + 1; row < bottom(); row++) {
            EXPECT_EQ(terminal.cell(row, kLeft).text, kVertical) << row;
            EXPECT_EQ(terminal.cell(row, kRight).text, kVertical) << row;
        }
        for (int column = kLeft + 1; column < kRight; column++) {
            EXPECT_EQ(terminal.cell(kMainTop, column).text, "\u2500") << column;
            EXPECT_EQ(terminal.cell(bottom(), column).text, "\u2500") << column;
        }
    }

    const Simulator server{{"--clock", "1000000", "--volumes", "256", "--connections", "500"}};
    Terminal terminal{monitor(kRows, kColumns)};
    harness::Snapshot before;
};

TEST_P(SmallDialog, NeverDrawsOutsideItsWindow) {
    for (const char* kind : {"letters and more than the line takes, far beyond the frame", "\x15",
                             "12345678901234567890123456789012345\x7f\x7f\x7f"}) {
        terminal.type(kind);
        ASSERT_TRUE(terminal.wait_for_rest());
        expect_window_only(kind);
    }
    terminal.type("\x15");
    if (GetParam().key != Key::kF5) { // whose dialog has one page and accepts any number
        for (const char* turn : {"+\r", "+\r", "-\r", "+\r"}) {
            terminal.type(turn);
            ASSERT_TRUE(terminal.wait_for_rest());
            expect_window_only(turn);
        }
    }
    expect_clean_end(terminal);
}

INSTANTIATE_TEST_SUITE_P(Each, SmallDialog,
                         testing::Values(DialogCase{"Volume", Key::kF3, "Enter volume", 13},
                                         DialogCase{"Connection", Key::kF4, "Enter connection", 15},
                                         DialogCase{"Diagnostics", Key::kF5, "Enter selection",
                                                    14}),
                         [](const auto& dialog) { return std::string(dialog.param.name); });

} // namespace
} // namespace zrp::dialog_frame_test
