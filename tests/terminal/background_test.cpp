// The monitor as a job of a shell that has the terminal itself: it stops until it has the terminal,
// ends at each signal with status 0, and leaves the terminal as it is.

#include <csignal>

#include "tests/terminal/session.h"
#include "tests/terminal/thread_sleeps.h"

namespace zrp::background_test {
namespace {

// A shell with job control, as users have it. Before the given lines $MODES has the modes of the
// terminal.
TerminalOptions in_a_job_shell(const std::string& lines) {
    TerminalOptions options = monitor();
    options.child.arguments = {"sh", "-mc", "MODES=$(stty -g); " + lines, ZRPTOP_PROGRAM};
    return options;
}

// In a shell. Sends the signal to the job, then what lets a stopped job take it, and prints the
// job's status and whether the terminal has the modes that it had before. "wait" returns at once
// for a job that is stopped or was stopped a moment ago.
std::string end_by(int signal) {
    return "BEFORE=$(stty -g); kill -" + std::string(sigabbrev_np(signal)) +
           " %1; kill -CONT %1; "
           "until wait %1; status=$?; [ $status -lt 128 ]; do sleep 0.1; done; "
           "if [ \"$(stty -g)\" = \"$BEFORE\" ]; then echo same modes, status $status; fi; ";
}

pid_t only_job(Terminal& terminal) {
    const std::vector<pid_t> jobs = harness::children_of(terminal.child().pid());
    return jobs.size() == 1 ? jobs[0] : 0;
}

// Stopped in the middle of its drawing, it would print the rest when it is continued.
void stop_at_rest(Terminal& terminal) {
    EXPECT_TRUE(terminal.wait_for_rest()) << terminal.text();
    kill(only_job(terminal), SIGSTOP);
}

bool wait_until_stopped(Terminal& terminal) {
    return terminal.wait_until([&] {
        const pid_t job = only_job(terminal);
        return job != 0 && harness::process_state(job) == 'T';
    });
}

void expect_end_without_the_terminal(Terminal& terminal) {
    const size_t printed = terminal.raw_output().size();
    terminal.type("\n");
    EXPECT_TRUE(terminal.wait_for("same modes, status 0")) << terminal.raw_output();
    EXPECT_EQ(terminal.raw_output().find('\x1b', printed), std::string::npos)
        << terminal.raw_output().substr(printed);
    EXPECT_EQ(terminal.wait_for_exit(), ExitStatus{});
}

class BackgroundJob : public testing::TestWithParam<int> {};

TEST_P(BackgroundJob, StartedThereEndsWithoutTheTerminal) {
    ZRP_NEEDS_ROOT();
    Terminal terminal(in_a_job_shell("\"$0\" & read line; " + end_by(GetParam())));
    ASSERT_TRUE(wait_until_stopped(terminal));
    expect_end_without_the_terminal(terminal);
}

TEST_P(BackgroundJob, StoppedFromOutsideEndsWithoutTheTerminal) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(in_a_job_shell("\"$0\"; stty \"$MODES\"; printf stopped; read line; " +
                                     end_by(GetParam())));
    ASSERT_TRUE(terminal.wait_for("figure: 1")) << terminal.text();
    stop_at_rest(terminal);
    ASSERT_TRUE(terminal.wait_for("stopped")) << terminal.text();
    expect_end_without_the_terminal(terminal);
}

TEST_P(BackgroundJob, StoppedByCtrlZEndsWithoutTheTerminal) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(in_a_job_shell("\"$0\"; printf stopped; read line; " + end_by(GetParam())));
    ASSERT_TRUE(terminal.wait_for("figure: 1")) << terminal.text();
    terminal.type("\x1a");
    ASSERT_TRUE(terminal.wait_for("stopped")) << terminal.text();
    expect_end_without_the_terminal(terminal);
}

// Continued in the background, it stops again without a wink at the terminal.
TEST_P(BackgroundJob, StoppedFromOutsideAndContinuedThereEndsWithoutTheTerminal) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(in_a_job_shell("\"$0\"; stty \"$MODES\"; printf stopped; read line; "
                                     "bg >/dev/null; printf continued; read line; " +
                                     end_by(GetParam())));
    ASSERT_TRUE(terminal.wait_for("figure: 1")) << terminal.text();
    const pid_t job = only_job(terminal);
    stop_at_rest(terminal);
    ASSERT_TRUE(terminal.wait_for("stopped")) << terminal.text();
    const long sleeps = main_thread_sleeps(job);
    terminal.type("\n");
    ASSERT_TRUE(terminal.wait_for("continued")) << terminal.text();
    ASSERT_TRUE(terminal.wait_until(
        [&] { return main_thread_sleeps(job) > sleeps && harness::process_state(job) == 'T'; }));
    expect_end_without_the_terminal(terminal);
}

INSTANTIATE_TEST_SUITE_P(Six, BackgroundJob, testing::ValuesIn(kEndingSignals),
                         [](const auto& number) {
                             return std::string(sigabbrev_np(number.param));
                         });

TEST(Background, AJobStartedThereBeginsInTheForeground) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(
        in_a_job_shell("\"$0\" & read line; fg >/dev/null; "
                       "if [ \"$(stty -g)\" = \"$MODES\" ]; then echo same modes; fi"));
    ASSERT_TRUE(wait_until_stopped(terminal));
    terminal.type("\n");
    ASSERT_TRUE(terminal.wait_for("figure: 1")) << terminal.text();
    terminal.press(Key::kF12);
    EXPECT_TRUE(terminal.wait_for("same modes")) << terminal.raw_output();
}

TEST(Background, AJobStoppedFromOutsideIsRedrawnInTheForeground) {
    ZRP_NEEDS_ROOT();
    const ScriptedPeer peer(kMainDaemonSocket, answers({kFigures}));
    Terminal terminal(in_a_job_shell("\"$0\"; stty \"$MODES\"; printf stopped; read line; "
                                     "printf '\\033[2J'; fg >/dev/null"));
    ASSERT_TRUE(terminal.wait_for("figure: 1")) << terminal.text();
    stop_at_rest(terminal);
    ASSERT_TRUE(terminal.wait_for("stopped")) << terminal.text();
    const size_t printed = terminal.raw_output().size();
    terminal.type("\n");
    ASSERT_TRUE(terminal.wait_until([&] {
        return terminal.raw_output().find("[F12] Exit", printed) != std::string::npos;
    })) << terminal.text();
    EXPECT_TRUE(terminal.wait_for("figure: 1")) << terminal.text();
    EXPECT_EQ(terminal.modes().c_lflag & (ICANON | ECHO), 0U);
    expect_clean_end(terminal);
}

// No shell can bring it to the foreground, since its parent has ended.
TEST(Background, AnOrphanEnds) {
    ZRP_NEEDS_ROOT();
    Terminal terminal(in_a_job_shell("(sh -c 'trap \"\" HUP; \"$0\"; echo ended, status $?' \"$0\" "
                                     "</dev/tty &) & wait; read line"));
    EXPECT_TRUE(terminal.wait_for("ended, status 0")) << terminal.raw_output();
    EXPECT_EQ(terminal.raw_output().find('\x1b'), std::string::npos) << terminal.raw_output();
}

} // namespace
} // namespace zrp::background_test
