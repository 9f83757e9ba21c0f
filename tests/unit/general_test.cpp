#include "screens/general.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "common/result.h"
#include "common/transport.h"
#include "core/monitor.h"
#include "core/window.h"
#include "tests/support/scripted_peer.h"
#include "tests/unit/headless_curses.h"

namespace zrp::general_test {
namespace {

struct UpTimeCase {
    uint32_t seconds;
    const char* text;
};

TEST(FormatUpTime, LeavesOutZeroPartsButNeverTheSeconds) {
    constexpr uint32_t kDay = 86400;
    constexpr UpTimeCase kCases[] = {
        {0, "0 Seconds "},
        {1, "1 Second "},
        {59, "59 Seconds "},
        {60, "1 Minute 0 Seconds "},
        {61, "1 Minute 1 Second "},
        {120, "2 Minutes 0 Seconds "},
        {3600, "1 Hour 0 Seconds "},
        {7200 + 60, "2 Hours 1 Minute 0 Seconds "},
        {kDay, "1 Day 0 Seconds "},
        {90061, "1 Day 1 Hour 1 Minute 1 Second "},
        {kDay * 2 + 59, "2 Days 59 Seconds "},
        {kDay - 1, "23 Hours 59 Minutes 59 Seconds "},
        {UINT32_MAX, "49710 Days 6 Hours 28 Minutes 15 Seconds "},
    };
    for (const UpTimeCase& c : kCases) {
        char text[kUpTimeTextSize];
        format_up_time(c.seconds, text);
        EXPECT_STREQ(text, c.text) << c.seconds;
    }
}

TEST(General, WithoutAWindowIsInvalid) {
    EXPECT_EQ(drawGeneralLabels(nullptr), kInvalid);
    EXPECT_EQ(updateGeneralWindow(nullptr), kInvalid);
    updateUpTimeWindow();
}

// A statistic as the daemon writes it.
std::string parm(const std::string& name, const std::string& type, const std::string& value) {
    return "<parm><name>" + name + "</name><value type=\"" + type + "\">" + value +
           "</value></parm>";
}

class GeneralScreen : public HeadlessCurses {
protected:
    void SetUp() override {
        HeadlessCurses::SetUp();
        IPCServInit(kMainDaemonSocket);
        window = create_newwin(15, 78, 5, 1);
        monitorState.upTimeWindow = create_newwin(3, 78, 2, 1);
    }

    void TearDown() override {
        destroy_win(window);
        destroy_win(monitorState.upTimeWindow);
        monitorState.upTimeWindow = nullptr;
        IPCServTerm();
    }

    // One pass over a daemon that gives these statistics.
    void pass(const std::string& statistics) {
        pass_over(reply("<zrpConsoleReply><serverStatistics>" + statistics +
                        "</serverStatistics></zrpConsoleReply>"));
    }

    void pass_over(const std::string& bytes) {
        const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(bytes)}});
        updateUpTimeWindow();
        EXPECT_EQ(updateGeneralWindow(window), kOk);
    }

    [[nodiscard]] std::string row(int number) const {
        return row_of(window, number);
    }

    static std::string up_time() {
        return row_of(monitorState.upTimeWindow, 1);
    }

    WINDOW* window = nullptr;
};

constexpr const char* kIndent = "    "; // before column 5

TEST_F(GeneralScreen, ShowsTheFirstElevenOfFifteenThatAreNoUpTime) {
    std::string statistics;
    for (int i = 0; i < 15; i++) {
        const std::string number = std::to_string(i);
        statistics += i == 3 ? parm("up", "diffSeconds", "60") : parm("n" + number, "int", number);
    }
    pass(statistics);
    for (int i = 0; i < 11; i++) {
        const std::string number = std::to_string(i < 3 ? i : i + 1);
        EXPECT_EQ(row(i + 1), kIndent + ("n" + number + ": ").append(number));
    }
    EXPECT_EQ(row(12), "");
    EXPECT_EQ(up_time(), std::string(16, ' ') + "1 Minute 0 Seconds");
}

TEST_F(GeneralScreen, AParmWithoutAValueIsListedWithAnEmptyOne) {
    pass("<parm><name>alone</name></parm>" + parm("next", "int", "1"));
    EXPECT_EQ(row(1), kIndent + std::string("alone:"));
    EXPECT_EQ(row(2), kIndent + std::string("next: 1"));
}

TEST_F(GeneralScreen, AParmThatCannotBeReadIsSkipped) {
    pass("<parm><value>1</value></parm><parm/>" + parm("long", "int", std::string(4097, '1')) +
         parm("fits", "int", "2"));
    EXPECT_EQ(row(1), kIndent + std::string("fits: 2"));
    EXPECT_EQ(row(2), "");
}

TEST_F(GeneralScreen, ALongValueIsCutAtTheFrame) {
    pass(parm("long", "int", std::string(4096, '1')));
    EXPECT_EQ(row(1), kIndent + std::string("long: ") + std::string(66, '1'));
    EXPECT_EQ(row(2), "");
}

TEST_F(GeneralScreen, TheLastOfSeveralUpTimesStays) {
    pass(parm("a", "diffSeconds", "90061") + parm("b", "diffSeconds", "1"));
    EXPECT_EQ(up_time(), std::string(16, ' ') + "1 Second");
}

TEST_F(GeneralScreen, AnUpTimeIsShownModuloThirtyTwoBits) {
    pass(parm("a", "diffSeconds", "4294967297"));
    EXPECT_EQ(up_time(), std::string(16, ' ') + "1 Second");
}

TEST_F(GeneralScreen, OldLinesStayUnderShorterLists) {
    pass(parm("first", "int", "12345") + parm("second", "int", "2"));
    pass(parm("f", "int", "1"));
    EXPECT_EQ(row(1), kIndent + std::string("f: 1t: 12345"));
    EXPECT_EQ(row(2), kIndent + std::string("second: 2"));
}

TEST_F(GeneralScreen, AFailureLeavesTheOldValues) {
    pass(parm("a", "diffSeconds", "60") + parm("n", "int", "1"));
    const std::string list = parm("new", "int", "2") + parm("up", "diffSeconds", "1");
    for (const std::string& bytes :
         {std::string(), std::string("noise, and more of it"), reply(""), reply("<a>"),
          reply("<result value=\"-5\"/><serverStatistics>" + list + "</serverStatistics>"),
          reply("<serverStatistics>" + list),
          reply("<serverStatistics>" + list + "</serverStatistics>", 5),
          reply_header(9, 0, 0x98BADCFE)}) {
        pass_over(bytes);
        EXPECT_EQ(row(1), kIndent + std::string("n: 1"));
        EXPECT_EQ(up_time(), std::string(16, ' ') + "1 Minute 0 Seconds");
    }
    updateUpTimeWindow(); // and nobody there
    EXPECT_EQ(updateGeneralWindow(window), kOk);
    EXPECT_EQ(row(1), kIndent + std::string("n: 1"));
}

} // namespace
} // namespace zrp::general_test
