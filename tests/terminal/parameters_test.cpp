// The Parameters screen.

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>

#include "tests/terminal/session.h"
#include "tests/terminal/simulator.h"
#include "tests/terminal/thread_sleeps.h"

namespace zrp::parameters_test {
namespace {

constexpr int kFirstParameterRow = kMainTop + 1;
constexpr int kParameterColumn = 2;
constexpr int kShownItems = 18;

using Names = std::vector<std::string>;

std::string set_reply(const std::string& content) {
    return "<zrpConsoleReply><set>" + content + "</set></zrpConsoleReply>";
}

std::string list_of(const Names& names) {
    std::string content;
    for (const std::string& name : names) {
        content += "<name value=\"not this\">" + name + "</name>\n";
    }
    return set_reply(content);
}

std::string value_of(const std::string& text) {
    return set_reply("<name>X</name><string>" + text + "</string>");
}

std::string between(const std::string& text, const std::string& before, const std::string& after) {
    const size_t start = text.find(before) + before.size();
    return text.substr(start, text.find(after, start) - start);
}

// A main daemon that has only settings. Any thread may change them.
class Settings {
public:
    Settings(const std::string& list, std::map<std::string, std::string> values)
        : list_(list), values_(std::move(values)) {}

    void set(const std::string& name, const std::string& answer) {
        const std::lock_guard lock(mutex_);
        values_[name] = answer;
    }

    void set_list(const std::string& list) {
        const std::lock_guard lock(mutex_);
        list_ = list;
    }

    [[nodiscard]] Names requests() const {
        const std::lock_guard lock(mutex_);
        return requests_;
    }

    // How often a name was asked for.
    [[nodiscard]] long count(const std::string& name) const {
        return count_text("<name>" + name + "</name>");
    }

    // How often the list was asked for.
    [[nodiscard]] long count_lists() const {
        return count_text(kBrowse);
    }

    // Passes that have begun. After two more, one of them is over.
    [[nodiscard]] long passes() const {
        const std::lock_guard lock(mutex_);
        return passes_;
    }

    [[nodiscard]] PeerScript script() {
        return {read_request(),
                reply_to([this](const std::string& text) { return reply(answer(text)); })};
    }

private:
    static constexpr const char* kBrowse = "<browse>1</browse>";

    [[nodiscard]] long count_text(const std::string& text) const {
        const std::lock_guard lock(mutex_);
        return std::count_if(requests_.begin(), requests_.end(), [&](const std::string& request) {
            return request.find(text) != std::string::npos;
        });
    }

    std::string answer(const std::string& request) {
        const std::lock_guard lock(mutex_);
        if (request.find("<set>") == std::string::npos) {
            passes_++; // each begins with the strip
            return statistics("");
        }
        requests_.push_back(request);
        if (request.find(kBrowse) != std::string::npos) {
            return list_;
        }
        return values_[between(request, "<name>", "</name>")];
    }

    mutable std::mutex mutex_;
    std::string list_;
    std::map<std::string, std::string> values_;
    Names requests_;
    long passes_ = 0;
};

bool wait_for_whole_pass(Terminal& terminal, const Settings& settings) {
    const long before = settings.passes();
    return terminal.wait_until([&] { return settings.passes() >= before + 2; }) &&
           terminal.wait_for_rest();
}

// The names of so many settings.
Names numbered(int count) {
    Names names;
    for (int i = 1; i <= count; i++) {
        names.push_back("PARAMETER_" + std::to_string(i));
    }
    return names;
}

std::map<std::string, std::string> values_for(const Names& names) {
    std::map<std::string, std::string> values;
    for (const std::string& name : names) {
        values[name] = value_of("v" + between(name, "_", " "));
    }
    return values;
}

bool open_parameters(Terminal& terminal, const std::string& firstLine) {
    if (!wait_for_windows(terminal)) {
        return false;
    }
    terminal.press(Key::kF6);
    return terminal.wait_for_text(kFirstParameterRow, kParameterColumn, firstLine);
}

// A row inside the main window's frame, without trailing blanks.
std::string row_inside(const Terminal& terminal, int row) {
    const std::string all =
        terminal.screen().text_at(row, kParameterColumn, terminal.screen().columns() - 4);
    const size_t last = all.find_last_not_of(' ');
    return last == std::string::npos ? "" : all.substr(0, last + 1);
}

TEST(Parameters, ShowsEachNameWithItsValue) {
    ZRP_NEEDS_ROOT();
    Settings settings(list_of({"LOG_LEVEL", "SERVER_CONTACT"}),
                      {{"LOG_LEVEL", value_of("WARNING")}, {"SERVER_CONTACT", value_of("a b")}});
    const ScriptedPeer peer(kMainDaemonSocket, {settings.script()});
    Terminal terminal(monitor());
    ASSERT_TRUE(open_parameters(terminal, "LOG_LEVEL = WARNING ")) << terminal.text();
    ASSERT_TRUE(
        terminal.wait_for_text(kFirstParameterRow + 1, kParameterColumn, "SERVER_CONTACT = a b "));
    EXPECT_EQ(row_inside(terminal, kFirstParameterRow + 2), "");
    EXPECT_EQ(terminal.cell(kFirstParameterRow, kParameterColumn),
              (harness::Cell{.text = "L", .foreground = kWhite, .background = kBlue}));
    expect_clean_end(terminal);
}

TEST(Parameters, RequestsTheListOnceAndEachValueOnEveryPass) {
    ZRP_NEEDS_ROOT();
    Settings settings(list_of({"A", "B"}), {{"A", value_of("1")}, {"B", value_of("2")}});
    const ScriptedPeer peer(kMainDaemonSocket, {settings.script()});
    Terminal terminal(monitor());
    ASSERT_TRUE(open_parameters(terminal, "A = 1"));
    ASSERT_TRUE(terminal.wait_until([&] { return settings.requests().size() >= 5; }));
    const Names requests = settings.requests();
    const std::string head =
        "<zrpConsoleRequest pid=\"" + std::to_string(terminal.child().pid()) + "\"><set>\n";
    const std::string version = "<versionTag>1</versionTag><attributes>1</attributes>";
    const std::string trailer = "\n</set></zrpConsoleRequest>";
    EXPECT_EQ(requests[0], head + version + "<browse>1</browse>" + trailer);
    for (size_t i = 1; i < 5; i++) {
        EXPECT_EQ(requests[i],
                  head + version + "<name>" + (i % 2 == 1 ? "A" : "B") + "</name>" + trailer);
    }
}

TEST(Parameters, AParameterNamedAllowUtf8InAnyLetterCaseIsNotShown) {
    ZRP_NEEDS_ROOT();
    Settings settings(list_of({"Allow_Utf8", "ALLOW_UTF8", "allow_utf8", "ALLOW_UTF8_NAMES"}),
                      {{"ALLOW_UTF8_NAMES", value_of("1")}});
    const ScriptedPeer peer(kMainDaemonSocket, {settings.script()});
    Terminal terminal(monitor());
    ASSERT_TRUE(open_parameters(terminal, "ALLOW_UTF8_NAMES = 1")) << terminal.text();
    EXPECT_EQ(row_inside(terminal, kFirstParameterRow + 1), "");
    EXPECT_EQ(settings.count("Allow_Utf8"), 0);
}

TEST(Parameters, SevenOtherParametersAreNeverShown) {
    ZRP_NEEDS_ROOT();
    Settings settings(list_of({"FIRST", "Max_File_Descriptor_Number", "MAX_FILE_DESCRIPTOR_NUMBER",
                               "ZRP_FILE_SERVER_NAME", "ALLOW_UTF8", "ALLOW_CIFS_MIXED_MODE_PATHS",
                               "ENABLE_ZRP_RANGE_CHECKING", "ALLOW_CLEAR_TEXT_BINDERY_PASSWORDS",
                               "SHADOW_VOLUME", "LAST"}),
                      {{"FIRST", value_of("1")}, {"LAST", value_of("2")}});
    const ScriptedPeer peer(kMainDaemonSocket, {settings.script()});
    Terminal terminal(monitor());
    ASSERT_TRUE(open_parameters(terminal, "FIRST = 1")) << terminal.text();
    EXPECT_TRUE(terminal.wait_for_text(kFirstParameterRow + 1, kParameterColumn, "LAST = 2 "))
        << terminal.text();
    EXPECT_EQ(row_inside(terminal, kFirstParameterRow + 2), "");
}

TEST(Parameters, WithTwentyVisibleParametersTheFirstEighteenAreShown) {
    ZRP_NEEDS_ROOT();
    const Names names = numbered(20);
    Settings settings(list_of(names), values_for(names));
    const ScriptedPeer peer(kMainDaemonSocket, {settings.script()});
    Terminal terminal(monitor(40, 100));
    ASSERT_TRUE(open_parameters(terminal, "PARAMETER_1 = v1")) << terminal.text();
    ASSERT_TRUE(
        terminal.wait_for_text(kFirstParameterRow + 17, kParameterColumn, "PARAMETER_18 = v18"));
    for (int i = 1; i <= kShownItems; i++) {
        const std::string number = std::to_string(i);
        EXPECT_EQ(row_inside(terminal, kFirstParameterRow + i - 1),
                  "PARAMETER_" + number + " = v" + number);
    }
    EXPECT_EQ(row_inside(terminal, kFirstParameterRow + kShownItems), "");
    EXPECT_EQ(settings.count("PARAMETER_19"), 0);
}

TEST(Parameters, OnTheSmallestTerminalTheRowsInsideTheFrameAreShown) {
    ZRP_NEEDS_ROOT();
    const Names names = numbered(20);
    Settings settings(list_of(names), values_for(names));
    const ScriptedPeer peer(kMainDaemonSocket, {settings.script()});
    Terminal terminal(monitor(25, 40));
    ASSERT_TRUE(open_parameters(terminal, "PARAMETER_1 = v1")) << terminal.text();
    ASSERT_TRUE(terminal.wait_for_text(18, kParameterColumn, "PARAMETER_13 = v13"));
    ASSERT_TRUE(terminal.wait_until([&] { return settings.count("PARAMETER_18") >= 2; }));
    EXPECT_EQ(terminal.cell(19, 1).text, kBottomLeft);
    EXPECT_EQ(terminal.row(20), "");
}

TEST(Parameters, ParametersBeyondTheTablesSizeAreOmitted) {
    ZRP_NEEDS_ROOT();
    const Names names = numbered(1000);
    Settings settings(list_of(names), values_for(names));
    const ScriptedPeer peer(kMainDaemonSocket, {settings.script()});
    Terminal terminal(monitor());
    ASSERT_TRUE(open_parameters(terminal, "PARAMETER_1 = v1")) << terminal.text();
    expect_clean_end(terminal);
}

TEST(Parameters, AShorterValueLeavesTheRestOfTheOldOne) {
    ZRP_NEEDS_ROOT();
    Settings settings(list_of({"LEVEL"}), {{"LEVEL", value_of("12345")}});
    const ScriptedPeer peer(kMainDaemonSocket, {settings.script()});
    Terminal terminal(monitor());
    ASSERT_TRUE(open_parameters(terminal, "LEVEL = 12345 ")) << terminal.text();
    settings.set("LEVEL", value_of("9"));
    EXPECT_TRUE(terminal.wait_for_text(kFirstParameterRow, kParameterColumn, "LEVEL = 92345 "))
        << terminal.text();
}

TEST(Parameters, AReplyWithoutASetElementLeavesTheScreenEmpty) {
    ZRP_NEEDS_ROOT();
    Settings settings("<zrpConsoleReply><name>LOST</name></zrpConsoleReply>", {});
    const ScriptedPeer peer(kMainDaemonSocket, {settings.script()});
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.press(Key::kF6);
    ASSERT_TRUE(terminal.wait_until([&] { return !settings.requests().empty(); }));
    ASSERT_TRUE(wait_for_whole_pass(terminal, settings));
    EXPECT_EQ(terminal.cell(kMainTop, 1).text, kTopLeft);
    for (int row = kFirstParameterRow; row < 19; row++) {
        EXPECT_EQ(row_inside(terminal, row), "") << terminal.text();
    }
    EXPECT_EQ(settings.requests().size(), 1U);
}

TEST(Parameters, TheListIsFetchedAgainWheneverTheScreenIsOpened) {
    ZRP_NEEDS_ROOT();
    Settings settings(list_of({"OLD", "OLDER"}),
                      {{"OLD", value_of("1")}, {"OLDER", value_of("2")}, {"NEW", value_of("3")}});
    const ScriptedPeer peer(kMainDaemonSocket, {settings.script()});
    Terminal terminal(monitor());
    ASSERT_TRUE(open_parameters(terminal, "OLD = 1"));
    settings.set_list(list_of({"NEW"}));
    terminal.press(Key::kF2);
    ASSERT_TRUE(
        terminal.wait_until([&] { return row_inside(terminal, kFirstParameterRow).empty(); }));
    terminal.press(Key::kF6);
    ASSERT_TRUE(terminal.wait_for_text(kFirstParameterRow, kParameterColumn, "NEW = 3 "))
        << terminal.text();
    EXPECT_EQ(row_inside(terminal, kFirstParameterRow + 1), "");
    settings.set_list("<zrpConsoleReply><result value=\"-5\"/></zrpConsoleReply>");
    terminal.press(Key::kF2);
    ASSERT_TRUE(
        terminal.wait_until([&] { return row_inside(terminal, kFirstParameterRow).empty(); }));
    const long asked = settings.count("NEW");
    const long listed = settings.count_lists();
    terminal.press(Key::kF6);
    ASSERT_TRUE(terminal.wait_until([&] { return settings.count_lists() > listed; }));
    ASSERT_TRUE(wait_for_whole_pass(terminal, settings));
    EXPECT_EQ(row_inside(terminal, kFirstParameterRow), "")
        << "a failed load leaves the table empty";
    EXPECT_EQ(settings.count("NEW"), asked);
}

TEST(Parameters, ANameIsSentBackUnchanged) {
    ZRP_NEEDS_ROOT();
    Settings settings(list_of({"A &amp; B"}), {{"A &amp; B", value_of("1")}});
    const ScriptedPeer peer(kMainDaemonSocket, {settings.script()});
    Terminal terminal(monitor());
    EXPECT_TRUE(open_parameters(terminal, "A &amp; B = 1")) << terminal.text();
}

TEST(Parameters, AValueIsNotAFormatAndCannotControlTheTerminal) {
    ZRP_NEEDS_ROOT();
    Settings settings(list_of({"%s\x7f\xff"}),
                      {{"%s\x7f\xff", value_of("100%n %s\x1b[2J\t\x07\xc2\x9b\xff.")}});
    const ScriptedPeer peer(kMainDaemonSocket, {settings.script()});
    Terminal terminal(monitor());
    EXPECT_TRUE(open_parameters(terminal, "%s?? = 100%n %s?[2J????. ")) << terminal.text();
}

TEST(Parameters, ANameWithAControlCharacterIsShownWithoutItAndNotRequested) {
    ZRP_NEEDS_ROOT();
    Settings settings(list_of({"F\x1b[31mORM", "NEXT"}), {{"NEXT", value_of("1")}});
    const ScriptedPeer peer(kMainDaemonSocket, {settings.script()});
    Terminal terminal(monitor());
    ASSERT_TRUE(open_parameters(terminal, "F?[31mORM =  ")) << terminal.text();
    ASSERT_TRUE(terminal.wait_for_text(kFirstParameterRow + 1, kParameterColumn, "NEXT = 1 "));
    EXPECT_EQ(settings.requests().at(1).find("ORM"), std::string::npos);
}

TEST(Parameters, LongNamesAndValuesAreCutAtTheFrame) {
    ZRP_NEEDS_ROOT();
    const std::string longName(100, 'N');
    const std::string endless(900, 'E');
    const std::string refused(1100, 'R');
    Settings settings(list_of({longName, "VALUE", endless, refused, "LAST"}),
                      {{longName, value_of("hidden")},
                       {"VALUE", value_of(std::string(9000, 'v'))},
                       {endless, value_of("hidden")},
                       {"LAST", value_of("1")}});
    const ScriptedPeer peer(kMainDaemonSocket, {settings.script()});
    Terminal terminal(monitor());
    ASSERT_TRUE(open_parameters(terminal, std::string(76, 'N') + kVertical)) << terminal.text();
    ASSERT_TRUE(terminal.wait_for_text(kFirstParameterRow + 4, kParameterColumn, "LAST = 1 "))
        << terminal.text();
    EXPECT_EQ(row_inside(terminal, kFirstParameterRow + 1), "VALUE = " + std::string(68, 'v'));
    EXPECT_EQ(terminal.cell(kFirstParameterRow + 1, 78).text, kVertical);
    EXPECT_EQ(row_inside(terminal, kFirstParameterRow + 2), std::string(76, 'E'));
    EXPECT_EQ(row_inside(terminal, kFirstParameterRow + 3), std::string(76, 'R'));
    EXPECT_EQ(terminal.cell(kFirstParameterRow + 2, 1).text, kVertical);
}

// Answers without a value.
struct BadValue {
    const char* name;
    std::string answer;
};

class ParameterValueFault : public testing::TestWithParam<BadValue> {};

TEST_P(ParameterValueFault, LeavesTheOldValueAndUpdatesTheOthers) {
    ZRP_NEEDS_ROOT();
    Settings settings(list_of({"BAD", "GOOD"}), {{"BAD", value_of("11")}, {"GOOD", value_of("1")}});
    const ScriptedPeer peer(kMainDaemonSocket, {settings.script()});
    Terminal terminal(monitor());
    ASSERT_TRUE(open_parameters(terminal, "BAD = 11")) << terminal.text();
    settings.set("BAD", GetParam().answer);
    settings.set("GOOD", value_of("2"));
    ASSERT_TRUE(terminal.wait_for_text(kFirstParameterRow + 1, kParameterColumn, "GOOD = 2"));
    EXPECT_EQ(row_inside(terminal, kFirstParameterRow), "BAD = 11");
    settings.set("BAD", value_of("33"));
    EXPECT_TRUE(terminal.wait_for_text(kFirstParameterRow, kParameterColumn, "BAD = 33 "));
}

INSTANTIATE_TEST_SUITE_P(
    Answers, ParameterValueFault,
    testing::Values(BadValue{"Empty", ""}, BadValue{"NoSet", "<zrpConsoleReply/>"},
                    BadValue{"NoString", set_reply("<name>BAD</name>")},
                    BadValue{"Unclosed", "<zrpConsoleReply><set><string>99"},
                    BadValue{"ErrorElement", "<result value=\"-5\"/>" + value_of("99")},
                    BadValue{"WriteError", "<writeResult>" + value_of("99")}),
    [](const auto& answer) { return std::string(answer.param.name); });

TEST(Parameters, AnEmptyValueLeavesTheOldCharacters) {
    ZRP_NEEDS_ROOT();
    Settings settings(list_of({"A", "B"}), {{"A", value_of("77")}, {"B", value_of("1")}});
    const ScriptedPeer peer(kMainDaemonSocket, {settings.script()});
    Terminal terminal(monitor());
    ASSERT_TRUE(open_parameters(terminal, "A = 77"));
    settings.set("A", set_reply("<string/>"));
    settings.set("B", value_of("2"));
    ASSERT_TRUE(terminal.wait_for_text(kFirstParameterRow + 1, kParameterColumn, "B = 2"));
    EXPECT_EQ(row_inside(terminal, kFirstParameterRow), "A = 77");
}

// Of the simulated server's 28 parameters seven are hidden.
struct ParametersSize {
    int rows;
    int columns;
    int lastRow; // that shows a parameter
    const char* lastText;
};

class ParametersOnTheSimulator : public testing::TestWithParam<ParametersSize> {};

TEST_P(ParametersOnTheSimulator, FillTheScreen) {
    ZRP_NEEDS_ROOT();
    const Simulator server;
    Terminal terminal(monitor(GetParam().rows, GetParam().columns));
    ASSERT_TRUE(open_parameters(terminal, "MAXIMUM_CACHED_FILES_PER_VOLUME = 256000 "))
        << terminal.text();
    EXPECT_TRUE(terminal.wait_for_text(GetParam().lastRow, kParameterColumn, GetParam().lastText))
        << terminal.text();
    EXPECT_EQ(terminal.screen().find_row("SHADOW_VOLUME"), -1);
    expect_clean_end(terminal);
}

INSTANTIATE_TEST_SUITE_P(Sizes, ParametersOnTheSimulator,
                         testing::Values(ParametersSize{25, 80, 18, "LOG_CACHE_STATISTICS = 0 "},
                                         ParametersSize{40, 100, 23, "VOLUME_MOUNT_TIMEOUT = 60 "}),
                         [](const auto& size) {
                             return std::to_string(size.param.rows) + "x" +
                                    std::to_string(size.param.columns);
                         });

// Requests with a faulty reply to wait for: one for each value, and one more, since the last may
// not be processed. A silent daemon gets no second request.
size_t faulty_requests(const std::string& fault) {
    return fault == "hang" ? 1 : kShownItems + 1;
}

class ParametersFault : public testing::TestWithParam<const char*> {};

TEST_P(ParametersFault, LeavesTheOldValues) {
    ZRP_NEEDS_ROOT();
    Simulator server;
    Terminal terminal(monitor());
    ASSERT_TRUE(open_parameters(terminal, "MAXIMUM_CACHED_FILES_PER_VOLUME = 256000 "));
    ASSERT_TRUE(terminal.wait_for_text(18, kParameterColumn, "LOG_CACHE_STATISTICS = 0 "));
    const auto shown = [&] {
        std::string text;
        for (int row = kMainTop; row < 20; row++) {
            text += terminal.row(row) + "\n";
        }
        return text;
    };
    const std::string before = shown();
    server.control("fault " + std::string(GetParam()) + ":set");
    ASSERT_TRUE(terminal.wait_until(
        [&] { return server.logged("fault=") >= faulty_requests(GetParam()); }));
    ASSERT_TRUE(terminal.wait_for_rest());
    EXPECT_EQ(shown(), before);
    expect_clean_end(terminal);
}

INSTANTIATE_TEST_SUITE_P(Kinds, ParametersFault, testing::ValuesIn(kReplyFaults), name_of_fault);

TEST(Parameters, WhenTheDaemonEndsFrameAndValuesStay) {
    ZRP_NEEDS_ROOT();
    Settings settings(list_of({"A", "B"}), {{"A", value_of("1")}, {"B", value_of("2")}});
    std::optional<ScriptedPeer> peer;
    peer.emplace(kMainDaemonSocket, std::vector<PeerScript>{settings.script()});
    Terminal terminal(monitor());
    ASSERT_TRUE(open_parameters(terminal, "A = 1"));
    ASSERT_TRUE(terminal.wait_for_text(kFirstParameterRow + 1, kParameterColumn, "B = 2 "));
    peer.reset();
    ASSERT_TRUE(wait_for_idle_pass(terminal));
    EXPECT_EQ(terminal.cell(kMainTop, 1).text, kTopLeft);
    EXPECT_EQ(row_inside(terminal, kFirstParameterRow), "A = 1");
    EXPECT_EQ(row_inside(terminal, kFirstParameterRow + 1), "B = 2");
    EXPECT_EQ(row_inside(terminal, kFirstParameterRow + 2), "");
    expect_clean_end(terminal);
}

TEST(Parameters, WithoutADaemonTheScreenIsEmpty) {
    ZRP_NEEDS_ROOT();
    Terminal terminal(monitor());
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.press(Key::kF7);
    ASSERT_TRUE(terminal.wait_for("ZRP Server Components"));
    terminal.press(Key::kF6);
    ASSERT_TRUE(
        terminal.wait_until([&] { return row_inside(terminal, kFirstParameterRow).empty(); }));
    ASSERT_TRUE(wait_for_idle_pass(terminal));
    EXPECT_EQ(terminal.cell(kMainTop, 1).text, kTopLeft);
    for (int row = kFirstParameterRow; row < 19; row++) {
        EXPECT_EQ(row_inside(terminal, row), "") << terminal.text();
    }
    expect_clean_end(terminal);
}

} // namespace
} // namespace zrp::parameters_test
