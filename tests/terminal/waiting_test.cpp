// Whatever the main thread waits for: keys, signals, Ctrl-Z and the loss of the terminal take
// effect meanwhile.

#include <condition_variable>
#include <mutex>

#include "tests/terminal/exit_key.h"
#include "tests/terminal/monitor_fixture.h"
#include "tests/terminal/trace_folder.h"

namespace zrp::waiting_test {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr const char* kStatistics = "serverStatistics";

// The monitor on a main daemon that answers, until it is made to fall silent.
struct HeldMonitor {
    explicit HeldMonitor(const TerminalOptions& options = monitor())
        : daemon(MonitorFixture::prepared()), peer(kMainDaemonSocket, {script()}),
          terminal(options) {}

    bool begin() {
        return terminal.wait_for(kGeneral.shown);
    }

    // Further requests of the command get a header, and the text never comes.
    void hold(const char* command) {
        daemon->answer_raw(command, {reply_header(100)});
        asked_ = daemon->requests(command).size();
    }

    bool wait_until_held(const char* command) {
        return terminal.wait_until([&] { return daemon->requests(command).size() > asked_; });
    }

    bool hold_pass() {
        hold(kStatistics);
        return wait_until_held(kStatistics);
    }

    std::unique_ptr<CommandAnswers> daemon; // before its peer, which uses it
    ScriptedPeer peer;
    Terminal terminal;

private:
    [[nodiscard]] PeerScript script() const {
        PeerScript steps = daemon->script();
        steps.push_back(wait_for_close());
        return steps;
    }

    size_t asked_ = 0;
};

// A wait of the main thread, and how to bring it there. The monitor shows General.
struct WaitCase {
    const char* name;
    bool (*enter)(HeldMonitor& held);
};

bool open_dialog(HeldMonitor& held, const ScreenCase& dialog) {
    held.terminal.press(dialog.key);
    return held.terminal.wait_for(dialog.prompt);
}

const WaitCase kWaits[] = {
    {"ASwitchForThePass",
     [](HeldMonitor& held) {
         const bool isHeld = held.hold_pass();
         held.terminal.press(Key::kF6);
         return isHeld;
     }},
    {"ADialogForThePassBeforeIt",
     [](HeldMonitor& held) {
         const bool isHeld = held.hold_pass();
         held.terminal.press(kDiagnostics.key);
         return isHeld;
     }},
    {"ADialogForThePassAfterIt",
     [](HeldMonitor& held) {
         const bool isHeld = open_dialog(held, kDiagnostics) && held.hold_pass();
         held.terminal.type("q\r");
         return isHeld;
     }},
    {"ADialogForTheVolumes",
     [](HeldMonitor& held) {
         held.hold("listVolumes");
         held.terminal.press(kVolume.key);
         return held.wait_until_held("listVolumes");
     }},
    {"ADialogForTheConnections",
     [](HeldMonitor& held) {
         held.hold(connection_fixture::kList);
         held.terminal.press(kConnection.key);
         return held.wait_until_held(connection_fixture::kList);
     }},
    {"ADialogForAnotherPage",
     [](HeldMonitor& held) {
         const bool isOpen = open_dialog(held, kConnection);
         held.hold(connection_fixture::kList);
         held.terminal.type("-\r");
         return isOpen && held.wait_until_held(connection_fixture::kList);
     }},
};

class Wait : public testing::TestWithParam<WaitCase> {};

TEST_P(Wait, IsEndedByF12) {
    ZRP_NEEDS_ROOT();
    HeldMonitor held;
    ASSERT_TRUE(held.begin());
    ASSERT_TRUE(GetParam().enter(held)) << held.terminal.text();
    held.terminal.press(Key::kF12);
    expect_ended_cleanly(held.terminal);
}

TEST_P(Wait, IsEndedByF1) {
    ZRP_NEEDS_ROOT();
    HeldMonitor held;
    ASSERT_TRUE(held.begin());
    ASSERT_TRUE(GetParam().enter(held)) << held.terminal.text();
    held.terminal.press(Key::kF1);
    expect_ended_cleanly(held.terminal);
}

TEST_P(Wait, IsEndedByF12AfterOtherKeys) {
    ZRP_NEEDS_ROOT();
    HeldMonitor held;
    ASSERT_TRUE(held.begin());
    ASSERT_TRUE(GetParam().enter(held)) << held.terminal.text();
    held.terminal.type("+-\x1b");
    held.terminal.press(Key::kF3);
    held.terminal.type("1\r");
    held.terminal.press(Key::kF12);
    expect_ended_cleanly(held.terminal);
}

TEST_P(Wait, IsEndedByASignal) {
    ZRP_NEEDS_ROOT();
    HeldMonitor held;
    ASSERT_TRUE(held.begin());
    ASSERT_TRUE(GetParam().enter(held)) << held.terminal.text();
    ASSERT_TRUE(held.terminal.wait_for_rest());
    held.terminal.child().send_signal(SIGTERM);
    expect_ended_cleanly(held.terminal);
}

// A terminal that is gone shows no restored screen. The trace shows that the regular shutdown ended
// the program, and not the last resort.
void expect_regular_end(Terminal& terminal, const TraceFolder& folder) {
    EXPECT_EQ(terminal.wait_for_exit(), ExitStatus{});
    EXPECT_NE(folder.trace().find("release hash table"), std::string::npos) << folder.trace();
}

TEST_P(Wait, IsEndedByTheLossOfTheTerminal) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    HeldMonitor held(traced_monitor(folder));
    ASSERT_TRUE(held.begin());
    ASSERT_TRUE(GetParam().enter(held)) << held.terminal.text();
    held.terminal.hang_up();
    expect_regular_end(held.terminal, folder);
}

TEST_P(Wait, IsEndedByTheLossOfATerminalThatDoesNotControlTheProgram) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    HeldMonitor held(without_controlling_terminal(folder));
    ASSERT_TRUE(held.begin());
    ASSERT_TRUE(GetParam().enter(held)) << held.terminal.text();
    ASSERT_TRUE(held.terminal.wait_for_rest());
    held.terminal.hang_up();
    expect_regular_end(held.terminal, folder);
}

TEST_P(Wait, IsSuspendedByCtrlZ) {
    ZRP_NEEDS_ROOT();
    TerminalOptions options = monitor();
    options.child.arguments = {"sh", "-mc", "\"$0\"; printf stopped; read line; fg >/dev/null",
                               ZRPTOP_PROGRAM};
    HeldMonitor held(options);
    Terminal& terminal = held.terminal;
    ASSERT_TRUE(held.begin());
    ASSERT_TRUE(GetParam().enter(held)) << terminal.text();
    ASSERT_TRUE(terminal.wait_for_rest()); // the key discards output that is not yet read
    terminal.type("\x1a");
    ASSERT_TRUE(terminal.wait_for("stopped")) << terminal.text();
    EXPECT_FALSE(terminal.screen().alternate_screen());
    terminal.type("\n");
    ASSERT_TRUE(terminal.wait_for("[F12] Exit")) << terminal.text();
    expect_clean_end(terminal);
}

INSTANTIATE_TEST_SUITE_P(Of, Wait, testing::ValuesIn(kWaits),
                         [](const auto& wait) { return std::string(wait.param.name); });

TEST(ExitKey, EndsTheProgramWhileASwitchWaitsForThePass) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    HeldMonitor held(monitor_with_exit_key(folder));
    ASSERT_TRUE(held.begin());
    ASSERT_TRUE(kWaits[0].enter(held));
    held.terminal.type(kExitKeyBytes);
    expect_ended_cleanly(held.terminal);
}

TEST(DrippingDaemon, DoesNotKeepF12FromEndingTheProgram) {
    ZRP_NEEDS_ROOT();
    PeerScript script = {read_request(), send_bytes(reply_header(100000))};
    const PeerScript drops = send_in_pieces(std::string(5000, 'x'), 1, harness::milliseconds{10});
    script.insert(script.end(), drops.begin(), drops.end());
    ScriptedPeer peer(kMainDaemonSocket, {script});
    Terminal terminal(monitor());
    ASSERT_TRUE(peer.wait_for_connections(1));
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.press(Key::kF6); // the switch waits for the pass
    terminal.press(Key::kF12);
    expect_ended_cleanly(terminal);
}

// Holds back every answer until it is opened.
class Gate {
public:
    void open() {
        const std::lock_guard lock(mutex_);
        isOpen_ = true;
        changed_.notify_all();
    }

    void pass() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return isOpen_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isOpen_ = false;
};

// Opens the gate before the peer waits for its connections.
struct OpenAtTheEnd {
    Gate& gate;
    ~OpenAtTheEnd() {
        gate.open();
    }
};

TEST(KeysDuringAWait, KeepTheirOrderAndTakeEffectAfterIt) {
    ZRP_NEEDS_ROOT();
    Gate gate;
    const auto daemon = MonitorFixture::prepared();
    PeerScript script = {read_request(), reply_to([&gate](const std::string&) {
                             gate.pass();
                             return std::string();
                         })};
    const PeerScript answer = daemon->script();
    script.insert(script.end(), answer.begin() + 1, answer.end());
    ScriptedPeer peer(kMainDaemonSocket, {script});
    const OpenAtTheEnd end{gate};
    Terminal terminal(monitor());
    ASSERT_TRUE(peer.wait_for_connections(1));
    ASSERT_TRUE(wait_for_windows(terminal));
    terminal.press(Key::kF6); // waits
    ASSERT_TRUE(terminal.wait_for_rest());
    terminal.press(Key::kF3);
    terminal.type("12");
    ASSERT_TRUE(terminal.wait_for_rest()); // the keys are read
    terminal.press(Key::kBackspace);
    terminal.press(Key::kBackspace);
    terminal.type("2\r");
    ASSERT_TRUE(terminal.wait_for_rest());
    gate.open();
    EXPECT_TRUE(terminal.wait_for("Volume: DATA")) << terminal.text();
    expect_clean_end(terminal);
}

// Inside a dialog F1 only closes it, even if it was typed before the dialog was there.
TEST(KeysDuringAWait, F1ForADialogThatIsAboutToOpenClosesIt) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    MonitorFixture fixture(traced_monitor(folder));
    ASSERT_TRUE(fixture.begin());
    const std::string both =
        std::string(harness::key_bytes(Key::kF5)) + std::string(harness::key_bytes(Key::kF1));
    fixture.terminal.type(both);
    ASSERT_TRUE(fixture.terminal.wait_until([&] {
        return !folder.trace_of("SelectDiagnosticsType").empty();
    })) << folder.trace();
    ASSERT_TRUE(fixture.wait_for_screen(kGeneral)) << fixture.terminal.text();
    EXPECT_TRUE(fixture.show(kParameters)) << fixture.terminal.text();
    expect_clean_end(fixture.terminal);
}

// With nobody left to look, the rest of the interval is not waited for.
TEST(LongInterval, IsNotWaitedForOnceTheTerminalIsGone) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    MonitorFixture fixture(traced_monitor(folder));
    ASSERT_TRUE(fixture.begin());
    ASSERT_TRUE(fixture.slow_down());
    const auto start = steady_clock::now();
    fixture.terminal.hang_up();
    expect_regular_end(fixture.terminal, folder);
    EXPECT_LT(steady_clock::now() - start, seconds{5}) << "half of the interval of ten seconds";
}

// With this delay ncurses would wait longer for the rest of a function key than the test does.
constexpr const char* kLongDelay = "ESCDELAY=25000";

std::string up_times(int count) {
    return statistics(parm("figure", "1") + up_time(std::to_string(count)));
}

TEST(Escape, DoesNotKeepTheOtherThreadFromDrawing) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture(monitor_in({kLongDelay}));
    ASSERT_TRUE(fixture.begin());
    fixture.terminal.press(Key::kEscape);
    ASSERT_TRUE(fixture.terminal.wait_for_rest());
    fixture.daemon->answer(kStatistics, {up_times(10)});
    EXPECT_TRUE(
        fixture.terminal.wait_for_text(kStripTextRow, kUpTimeColumn, "10 Seconds", seconds{15}))
        << fixture.terminal.text();
    fixture.terminal.child().send_signal(SIGTERM);
    expect_ended_cleanly(fixture.terminal);
}

TEST(Escape, AndTheRestOfAKeyLaterAreThatKey) {
    ZRP_NEEDS_ROOT();
    MonitorFixture fixture(monitor_in({kLongDelay}));
    ASSERT_TRUE(fixture.begin());
    fixture.terminal.press(Key::kEscape);
    ASSERT_TRUE(fixture.terminal.wait_for_rest());
    const std::string_view bytes = harness::key_bytes(kDiagnostics.key);
    fixture.terminal.type(bytes.substr(1));
    EXPECT_TRUE(fixture.wait_for_dialog(kDiagnostics)) << fixture.terminal.text();
    expect_clean_end(fixture.terminal);
}

TEST(Escape, AloneIsAKeyOfItsOwnAfterTheDelay) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    TerminalOptions options = traced_monitor(folder);
    options.child.environment.emplace_back("ESCDELAY=50");
    MonitorFixture fixture(options);
    ASSERT_TRUE(fixture.begin());
    fixture.terminal.press(Key::kEscape);
    EXPECT_TRUE(fixture.terminal.wait_until([&] {
        return folder.trace_of("main") == "main: key=27\n";
    })) << folder.trace_of("main");
    fixture.terminal.type("[x"); // no key begins like this
    EXPECT_TRUE(fixture.terminal.wait_until([&] {
        return folder.trace_of("main") == "main: key=27\nmain: key=91\nmain: key=120\n";
    })) << folder.trace_of("main");
    expect_clean_end(fixture.terminal);
}

TEST(Escape, AndACharacterThatContinuesNoKeyAreTwoKeysAtOnce) {
    ZRP_NEEDS_ROOT();
    const TraceFolder folder;
    TerminalOptions options = traced_monitor(folder);
    options.child.environment.emplace_back(kLongDelay);
    MonitorFixture fixture(options);
    ASSERT_TRUE(fixture.begin());
    fixture.terminal.type("\x1bq");
    EXPECT_TRUE(fixture.terminal.wait_until([&] {
        return folder.trace_of("main") == "main: key=27\nmain: key=113\n";
    })) << folder.trace_of("main");
    expect_clean_end(fixture.terminal);
}

} // namespace
} // namespace zrp::waiting_test
