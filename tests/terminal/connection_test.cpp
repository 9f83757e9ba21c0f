// The Connection screen.

#include "tests/terminal/connection_world.h"
#include "tests/terminal/simulator.h"

namespace zrp {
namespace {

using namespace connection_world;

const char* const kLabels[] = {"     Login time:", "Network address:", "     bytes Read:",
                               "  bytes Written:", "     Open files:"};

void expect_labels(const Terminal& terminal) {
    EXPECT_EQ(terminal.eye().text_at(kTitleRow, kTitleColumn, 11), "Connection:");
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(terminal.eye().text_at(kTitleRow + 1 + i, kLabelColumn, 16), kLabels[i]);
    }
}

TEST(Connection, Typing999SelectsItEvenWhenItDoesNotExistAndOnlyTheLabelsShow) {
    ZRP_NEEDS_ROOT();
    CommandAnswers daemon;
    daemon.answer(kList, {page(users(1, 3))});
    daemon.answer(kInformation, {kRefusal});
    Dialog dialog(daemon);
    ASSERT_TRUE(dialog.open());
    dialog.answer("999");
    ASSERT_TRUE(
        dialog.terminal.wait_until([&] { return daemon.requests(kInformation).size() >= 2; }));
    expect_labels(dialog.terminal);
    EXPECT_EQ(inside(dialog.terminal, kTitleRow), "    Connection:");
    EXPECT_EQ(inside(dialog.terminal, kTitleRow + 1), "            Login time:");
    EXPECT_EQ(daemon.requests(kList).size(), 1U) << "nothing more is asked";
    expect_clean_end(dialog.terminal);
}

TEST(Connection, ShowsTheTrafficOfTheListAndTheRestOfTheInformation) {
    ZRP_NEEDS_ROOT();
    CommandAnswers daemon;
    daemon.answer(
        kList, {page(users(1, 3)), page(entry(2, "someone else", "18446744073709551615", "0x10"))});
    daemon.answer(kInformation, {information(2, "admin.acme")});
    Dialog dialog(daemon);
    ASSERT_TRUE(dialog.open());
    dialog.answer("2");
    ASSERT_TRUE(dialog.shows_title("(2) admin.acme ")) << dialog.terminal.text();
    ASSERT_TRUE(dialog.terminal.wait_for_text(kTitleRow + 5, kValueColumn, "2 "));
    expect_labels(dialog.terminal);
    const char* const values[] = {"in admin.acme ", "10.1.0.9 ", "18446744073709551615 ", "16 ",
                                  "2 "};
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(inside(dialog.terminal, kTitleRow + 1 + i) + " ",
                  "       " + std::string(kLabels[i]) + "  " + values[i]);
    }
    EXPECT_EQ(page_request(daemon, 1), "<startIndex>2</startIndex><maxItems>1</maxItems>");
}

// Bits of a status, and whether they let more be shown than the title.
struct Status {
    const char* bits;
    bool detailed;
};

class ConnectionStatus : public testing::TestWithParam<Status> {};

TEST_P(ConnectionStatus, DecidesWhetherMoreThanTheTitleShows) {
    ZRP_NEEDS_ROOT();
    CommandAnswers daemon;
    daemon.answer(kList, {page(users(5, 1))});
    daemon.answer(kInformation, {information(5, "admin", GetParam().bits)});
    Dialog dialog(daemon);
    ASSERT_TRUE(dialog.open());
    dialog.answer("5");
    ASSERT_TRUE(dialog.shows_title("(5) admin "));
    ASSERT_TRUE(
        dialog.terminal.wait_until([&] { return daemon.requests(kInformation).size() >= 2; }));
    EXPECT_EQ(dialog.terminal.eye().text_at(kTitleRow + 1, kValueColumn, 9),
              GetParam().detailed ? "in admin " : "         ");
}

INSTANTIATE_TEST_SUITE_P(Bits, ConnectionStatus,
                         testing::Values(Status{"0", false}, Status{"0xfffffdde", false},
                                         Status{"0x1", true}, Status{"32", true},
                                         Status{"0x200", true}));

TEST(Connection, AFailedRequestLeavesTheOldValues) {
    ZRP_NEEDS_ROOT();
    CommandAnswers daemon;
    daemon.answer(kList, {page(entry(3, "before", "111"))});
    daemon.answer(kInformation, {information(3, "before")});
    Dialog dialog(daemon);
    ASSERT_TRUE(dialog.open());
    dialog.answer("3");
    ASSERT_TRUE(dialog.terminal.wait_for_text(kTitleRow + 5, kValueColumn, "2 "));
    const auto expect_old_values = [&] {
        const size_t asked = daemon.requests(kInformation).size();
        ASSERT_TRUE(dialog.terminal.wait_until(
            [&] { return daemon.requests(kInformation).size() >= asked + 2; }));
        EXPECT_EQ(dialog.terminal.eye().text_at(kTitleRow, kTitleValueColumn, 10), "(3) before");
        EXPECT_EQ(dialog.terminal.eye().text_at(kTitleRow + 3, kValueColumn, 4), "111 ");
    };
    daemon.answer(kList, {kRefusal});
    daemon.answer(kInformation, {information(3, "after.")});
    expect_old_values();
    daemon.answer(kList, {page("")});
    expect_old_values();
    daemon.answer(kList, {page(entry(3, "after.", "222"))});
    daemon.answer(kInformation, {kRefusal});
    expect_old_values();
    daemon.answer(kInformation, {information(3, "after.")});
    EXPECT_TRUE(dialog.shows_title("(3) after. "));
    EXPECT_TRUE(dialog.terminal.wait_for_text(kTitleRow + 3, kValueColumn, "222 "));
}

TEST(Connection, ValuesShorterThanBeforeLeaveOldCharactersBehind) {
    ZRP_NEEDS_ROOT();
    CommandAnswers daemon;
    daemon.answer(kList, {page(entry(3, "x", "12345"))});
    daemon.answer(kInformation, {information(3, "longer.name")});
    Dialog dialog(daemon);
    ASSERT_TRUE(dialog.open());
    dialog.answer("3");
    ASSERT_TRUE(dialog.terminal.wait_for_text(kTitleRow + 3, kValueColumn, "12345 "));
    daemon.answer(kList, {page(entry(3, "x", "9"))});
    daemon.answer(kInformation, {information(3, "NAME")});
    EXPECT_TRUE(dialog.shows_title("(3) NAMEer.name ")) << dialog.terminal.text();
    EXPECT_TRUE(dialog.terminal.wait_for_text(kTitleRow + 3, kValueColumn, "92345 "));
}

TEST(Connection, TextsOfTheServerAreCutAndCannotSteerTheTerminal) {
    ZRP_NEEDS_ROOT();
    CommandAnswers daemon;
    daemon.answer(kList, {page(users(3, 1))});
    daemon.answer(kInformation,
                  {information(3, "%s%n\x1b[2J" + std::string(600, 'x'), "1", "a\r\n\xff")});
    Dialog dialog(daemon);
    ASSERT_TRUE(dialog.open());
    dialog.answer("3");
    ASSERT_TRUE(dialog.shows_title("(3) %s%n?[2Jxxx")) << dialog.terminal.text();
    EXPECT_TRUE(dialog.terminal.wait_for_text(kTitleRow + 2, kValueColumn, "a??? "));
    EXPECT_EQ(dialog.terminal.cell(kTitleRow, 78).text, kVertical);
    EXPECT_EQ(dialog.terminal.cell(kTitleRow + 1, 78).text, kVertical);
}

// The simulated server.
bool open_station(Terminal& terminal, const std::string& station) {
    if (!wait_for_windows(terminal)) {
        return false;
    }
    terminal.press(Key::kF4);
    if (!terminal.wait_for_text(kPromptRow, kPromptColumn, kPrompt)) {
        return false;
    }
    terminal.type(station + "\r");
    return terminal.wait_for_text(kTitleRow, kTitleValueColumn, "(" + station + ")");
}

std::string bytes_read(const Terminal& terminal) {
    return inside(terminal, kTitleRow + 3);
}

struct Size {
    int rows;
    int columns;
};

class ConnectionOnTheSimulator : public testing::TestWithParam<Size> {};

TEST_P(ConnectionOnTheSimulator, ShowsFiguresThatMove) {
    ZRP_NEEDS_ROOT();
    const Simulator server;
    Terminal terminal(monitor(GetParam().rows, GetParam().columns));
    ASSERT_TRUE(open_station(terminal, "2")) << terminal.text();
    ASSERT_TRUE(terminal.wait_for_text(kTitleRow + 2, kValueColumn, "10.1.0.3 "))
        << terminal.text();
    expect_labels(terminal);
    const std::string before = bytes_read(terminal);
    EXPECT_TRUE(terminal.wait_until([&] { return bytes_read(terminal) != before; }));
    expect_clean_end(terminal);
}

INSTANTIATE_TEST_SUITE_P(Sizes, ConnectionOnTheSimulator,
                         testing::Values(Size{25, 80}, Size{40, 100}), [](const auto& size) {
                             return std::to_string(size.param.rows) + "x" +
                                    std::to_string(size.param.columns);
                         });

// A dripping server is slow, but answers; the element that is left open is one that nobody reads.
bool is_harmless(const std::string& fault) {
    return fault == "drip" || fault == "unclosed";
}

class ConnectionFault : public testing::TestWithParam<const char*> {};

// The clock stands still but where a command's replies are spoiled, so that only a spoiled one can
// bring other figures.
TEST_P(ConnectionFault, LeavesTheOldValuesWhenItBringsNone) {
    ZRP_NEEDS_ROOT();
    int clock = 1000000;
    Simulator server({"--clock", std::to_string(clock)});
    Terminal terminal(monitor());
    ASSERT_TRUE(open_station(terminal, "2"));
    ASSERT_TRUE(terminal.wait_for_text(kTitleRow + 2, kValueColumn, "10.1.0.3 "));
    const std::string fault = GetParam();
    for (const char* command : {kInformation, kList}) {
        ASSERT_TRUE(terminal.wait_for_rest());
        const std::string before = bytes_read(terminal);
        const size_t spoiled = server.logged("fault=");
        server.tell("fault " + fault + ":" + command);
        server.tell("clock " + std::to_string(clock += 1000000));
        if (is_harmless(fault)) {
            EXPECT_TRUE(terminal.wait_until([&] { return bytes_read(terminal) != before; }));
            continue;
        }
        const size_t more = fault == "hang" ? 1 : 2; // nobody asks again behind the first
        ASSERT_TRUE(terminal.wait_until([&] { return server.logged("fault=") >= spoiled + more; }));
        ASSERT_TRUE(terminal.wait_for_rest());
        EXPECT_EQ(bytes_read(terminal), before);
        EXPECT_EQ(terminal.eye().text_at(kTitleRow, kTitleValueColumn, 4), "(2) ");
        server.tell("fault none");
        if (fault == "hang") {
            break; // for good: the exchange under way waits until the program ends
        }
        EXPECT_TRUE(terminal.wait_until([&] { return bytes_read(terminal) != before; }));
    }
    expect_clean_end(terminal);
}

INSTANTIATE_TEST_SUITE_P(Kinds, ConnectionFault, testing::ValuesIn(kReplyFaults), name_of_fault);

} // namespace
} // namespace zrp
