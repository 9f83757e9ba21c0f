// The Connection screen.

#include <algorithm>
#include <string_view>
#include <tuple>

#include "tests/terminal/connection_fixture.h"
#include "tests/terminal/simulator.h"

namespace zrp::connection_test {
namespace {

using namespace connection_fixture;

const char* const kLabels[] = {"     Login time:", "Network address:", "     bytes Read:",
                               "  bytes Written:", "     Open files:"};

void expect_labels(const Terminal& terminal) {
    EXPECT_EQ(terminal.screen().text_at(kTitleRow, kTitleColumn, 11), "Connection:");
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(terminal.screen().text_at(kTitleRow + 1 + i, kLabelColumn, 16), kLabels[i]);
    }
}

TEST(Connection, Typing999SelectsAConnectionThatDoesNotExistAndShowsOnlyTheLabels) {
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
    EXPECT_EQ(daemon.requests(kList).size(), 1U) << "the list is not requested again";
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

// Bits of a status, and whether more than the title is shown with them.
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
    EXPECT_EQ(dialog.terminal.screen().text_at(kTitleRow + 1, kValueColumn, 9),
              GetParam().detailed ? "in admin " : "         ");
}

INSTANTIATE_TEST_SUITE_P(Bits, ConnectionStatus,
                         testing::Values(Status{"0", false}, Status{"0xfffffdde", false},
                                         Status{"0x1", true}, Status{"32", true},
                                         Status{"0x200", true}));

void expect_old_values(const Dialog& dialog) {
    EXPECT_EQ(dialog.terminal.screen().text_at(kTitleRow, kTitleValueColumn, 10), "(3) before");
    EXPECT_EQ(dialog.terminal.screen().text_at(kTitleRow + 3, kValueColumn, 4), "111 ");
}

// After at least one whole pass, when none is under way.
void expect_old_values_later(Dialog& dialog, const CommandAnswers& daemon) {
    const size_t asked = daemon.requests(kInformation).size();
    ASSERT_TRUE(dialog.terminal.wait_until(
        [&] { return daemon.requests(kInformation).size() >= asked + 2; }));
    ASSERT_TRUE(dialog.terminal.wait_for_rest());
    expect_old_values(dialog);
}

TEST(Connection, AFailedRequestLeavesTheOldValues) {
    ZRP_NEEDS_ROOT();
    CommandAnswers daemon;
    daemon.answer(kList, {page(entry(3, "before", "111"))});
    daemon.answer(kInformation, {information(3, "before")});
    Dialog dialog(daemon);
    ASSERT_TRUE(dialog.open());
    dialog.answer("3");
    ASSERT_TRUE(dialog.terminal.wait_for_text(kTitleRow + 5, kValueColumn, "2 "));
    daemon.answer(kList, {kRefusal});
    daemon.answer(kInformation, {information(3, "after.")});
    expect_old_values_later(dialog, daemon);
    daemon.answer(kList, {page("")});
    expect_old_values_later(dialog, daemon);
    daemon.answer(kInformation, {kRefusal}); // first, since a pass may begin now
    daemon.answer(kList, {page(entry(3, "after.", "222"))});
    expect_old_values_later(dialog, daemon);
    daemon.answer(kInformation, {information(3, "after.")});
    EXPECT_TRUE(dialog.shows_title("(3) after. "));
    EXPECT_TRUE(dialog.terminal.wait_for_text(kTitleRow + 3, kValueColumn, "222 "));
}

TEST(Connection, AShorterValueLeavesTheRestOfTheOldOne) {
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

TEST(Connection, TextsOfTheServerAreCutAndCannotControlTheTerminal) {
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

TEST_P(ConnectionOnTheSimulator, ShowsChangingFigures) {
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

// A dripping server is slow, but answers; the unclosed element is one that is not read.
bool is_harmless(const std::string& fault) {
    return fault == "drip" || fault == "unclosed";
}

// A fault, and which of the two requests of a pass it affects.
using FaultCase = std::tuple<const char*, const char*>;

class ConnectionFault : public testing::TestWithParam<FaultCase> {};

// The clock advances after the fault is set, so that other figures come from a faulty reply.
TEST_P(ConnectionFault, LeavesTheOldValuesUnlessTheReplyIsComplete) {
    ZRP_NEEDS_ROOT();
    const auto& [fault, command] = GetParam();
    Simulator server({"--clock", "1000000"});
    Terminal terminal(monitor());
    ASSERT_TRUE(open_station(terminal, "2"));
    ASSERT_TRUE(terminal.wait_for_text(kTitleRow + 2, kValueColumn, "10.1.0.3 "));
    ASSERT_TRUE(terminal.wait_for_rest());
    const std::string before = bytes_read(terminal);
    const size_t faulty = server.logged("fault=");
    server.control("fault " + std::string(fault) + ":" + command);
    server.control("clock 2000000");
    if (!is_harmless(fault)) {
        ASSERT_TRUE(terminal.wait_until([&] { return server.logged("fault=") >= faulty + 2; }));
        ASSERT_TRUE(terminal.wait_for_rest());
        EXPECT_EQ(bytes_read(terminal), before);
        EXPECT_EQ(terminal.screen().text_at(kTitleRow, kTitleValueColumn, 4), "(2) ");
        server.control("fault none");
    }
    EXPECT_TRUE(terminal.wait_until([&] { return bytes_read(terminal) != before; }));
    expect_clean_end(terminal);
}

std::vector<const char*> ending_faults() {
    std::vector<const char*> faults(std::begin(kReplyFaults), std::end(kReplyFaults));
    std::erase(faults, std::string_view("hang"));
    return faults;
}

INSTANTIATE_TEST_SUITE_P(Kinds, ConnectionFault,
                         testing::Combine(testing::ValuesIn(ending_faults()),
                                          testing::Values(kInformation, kList)),
                         [](const auto& fault) {
                             std::string name = std::get<0>(fault.param);
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name + "_" + std::get<1>(fault.param);
                         });

// A request that is never answered blocks its pass until the program ends.
class ConnectionHang : public testing::TestWithParam<const char*> {};

TEST_P(ConnectionHang, LeavesTheOldValues) {
    ZRP_NEEDS_ROOT();
    const std::string hung = GetParam();
    CommandAnswers daemon;
    daemon.answer("serverStatistics", {statistics(up_time("9"))});
    daemon.answer(kList, {page(entry(3, "before", "111"))});
    daemon.answer(kInformation, {information(3, "before")});
    PeerScript script = daemon.script();
    script.push_back(wait_for_close()); // after an empty answer the connection stays open
    Dialog dialog(script);
    ASSERT_TRUE(dialog.open());
    dialog.answer("3");
    ASSERT_TRUE(dialog.terminal.wait_for_text(kTitleRow + 5, kValueColumn, "2 "));
    const size_t asked = daemon.requests(hung).size();
    daemon.answer_raw(hung, {""});
    if (hung == kList) {
        daemon.answer(kInformation, {information(3, "after.")});
    } else {
        daemon.answer(kList, {page(entry(3, "after.", "222"))});
    }
    ASSERT_TRUE(dialog.terminal.wait_until([&] { return daemon.requests(hung).size() > asked; }));
    ASSERT_TRUE(dialog.terminal.wait_for_rest());
    expect_old_values(dialog);
    expect_clean_end(dialog.terminal);
}

INSTANTIATE_TEST_SUITE_P(Requests, ConnectionHang, testing::Values(kInformation, kList),
                         [](const auto& request) { return std::string(request.param); });

} // namespace
} // namespace zrp::connection_test
