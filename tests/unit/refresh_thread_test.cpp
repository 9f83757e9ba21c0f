// The refresh thread and its handshake with the main thread, on screens that only record their
// calls.

#include "core/refresh_thread.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <mutex>
#include <pthread.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "core/monitor.h"
#include "core/screen.h"
#include "core/window.h"
#include "tests/support/needs.h"
#include "tests/unit/headless_curses.h"
#include "tools/harness/deadline.h"
#include "tools/harness/process_state.h"

namespace zrp::refresh_thread_test {
namespace {

constexpr int kUnknownScreen = KEY_F(11);
constexpr useconds_t kPollInterval = 2000;

std::mutex callMutex;
std::string calls; // 's' for the strip, 'L' for labels, 'U' for an update
std::atomic<bool> hold{false};
std::atomic<pid_t> threadId{0};
std::atomic<size_t> stackSize{0};
std::atomic<bool> detached{false};
std::atomic<bool> takesSignals{false};

void record(char call) {
    const std::lock_guard lock(callMutex);
    calls += call;
}

std::string recorded() {
    const std::lock_guard lock(callMutex);
    return calls;
}

size_t count_of(char call) {
    const std::string all = recorded();
    return static_cast<size_t>(std::count(all.begin(), all.end(), call));
}

void record_strip() {
    record('s');
}

int record_labels(WINDOW* /*window*/) {
    record('L');
    return 0;
}

void inspect_this_thread() {
    threadId.store(gettid());
    pthread_attr_t attributes;
    pthread_getattr_np(pthread_self(), &attributes);
    size_t size = 0;
    pthread_attr_getstacksize(&attributes, &size);
    stackSize.store(size);
    int state = 0;
    pthread_attr_getdetachstate(&attributes, &state);
    detached.store(state == PTHREAD_CREATE_DETACHED);
    pthread_attr_destroy(&attributes);
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    for (const int signal : {SIGALRM, SIGHUP, SIGINT, SIGPIPE, SIGQUIT, SIGTERM}) {
        if (sigismember(&blocked, signal) == 0) {
            takesSignals.store(true);
        }
    }
}

int record_update(WINDOW* /*window*/) {
    inspect_this_thread();
    record('U');
    while (hold.load()) {
        usleep(kPollInterval);
    }
    return 0;
}

constexpr Screen kScreens[] = {{.key = kStartScreen,
                                .menuText = "First",
                                .drawLabels = record_labels,
                                .update = record_update}};
constexpr ScreenSet kRecordingScreens = {kScreens, record_strip};

template <typename Condition>
bool wait_until(const Condition& condition) {
    const harness::Deadline deadline(harness::kPatience);
    while (!condition()) {
        if (deadline.passed()) {
            return false;
        }
        usleep(kPollInterval);
    }
    return true;
}

bool wait_for_calls(char call, size_t count) {
    return wait_until([&] { return count_of(call) >= count; });
}

class RefreshThread : public HeadlessCurses {
protected:
    void SetUp() override {
        HeadlessCurses::SetUp();
        calls.clear();
        use_screens(kRecordingScreens);
        monitorState.mainWindow = create_newwin(10, 40, 5, 1);
    }

    void TearDown() override {
        hold.store(false);
        stop_refresh_thread();
        destroy_win(monitorState.mainWindow);
        monitorState.mainWindow = nullptr;
        monitorState.currentScreen.store(kStartScreen);
        monitorState.refreshFirstDraw.store(0);
    }
};

TEST_F(RefreshThread, DrawsTheLabelsOnceAndTheValuesOnEveryPass) {
    request_first_draw();
    ASSERT_EQ(start_refresh_thread(), 0);
    ASSERT_TRUE(wait_for_calls('U', 3));
    EXPECT_TRUE(recorded().starts_with("sLUsUsU")) << recorded();
}

TEST_F(RefreshThread, WithoutARequestNoLabelsAreDrawn) {
    ASSERT_EQ(start_refresh_thread(), 0);
    ASSERT_TRUE(wait_for_calls('U', 2));
    EXPECT_EQ(count_of('L'), 0U);
}

TEST_F(RefreshThread, WhilePausedOnlyTheStripIsUpdated) {
    ASSERT_EQ(start_refresh_thread(), 0);
    ASSERT_TRUE(wait_for_calls('U', 1));
    pause_refresh();
    const size_t updates = count_of('U');
    ASSERT_TRUE(wait_for_calls('s', count_of('s') + 2));
    EXPECT_EQ(count_of('U'), updates);
    resume_refresh();
    EXPECT_TRUE(wait_for_calls('U', updates + 1));
}

TEST_F(RefreshThread, AFirstDrawRequestedWhilePausedHappensAfterResume) {
    ASSERT_EQ(start_refresh_thread(), 0);
    ASSERT_TRUE(wait_for_calls('U', 1));
    pause_refresh();
    request_first_draw();
    ASSERT_TRUE(wait_for_calls('s', count_of('s') + 2));
    EXPECT_EQ(count_of('L'), 0U);
    resume_refresh();
    ASSERT_TRUE(wait_for_calls('L', 1));
    ASSERT_TRUE(wait_for_calls('U', count_of('U') + 2));
    EXPECT_EQ(count_of('L'), 1U);
}

TEST_F(RefreshThread, AnUnknownScreenDrawsNothingButTheStripIsUpdated) {
    for (const int screen : {kStartScreen - 1, kUnknownScreen}) {
        monitorState.currentScreen.store(screen);
        request_first_draw();
        ASSERT_EQ(start_refresh_thread(), 0);
        ASSERT_TRUE(wait_for_calls('s', count_of('s') + 2));
        stop_refresh_thread();
        EXPECT_EQ(recorded().find_first_not_of('s'), std::string::npos) << recorded();
    }
}

TEST_F(RefreshThread, PauseWaitsForThePassUnderWay) {
    hold.store(true);
    ASSERT_EQ(start_refresh_thread(), 0);
    ASSERT_TRUE(wait_for_calls('U', 1));
    std::atomic<bool> released{false};
    const pid_t waiting = gettid();
    const long sleeps = harness::sleeps_of_thread(getpid(), waiting);
    std::thread other([&] {
        // A pause that does not wait does not sleep either: then this only delays its failure.
        EXPECT_TRUE(wait_until(
            [&] { return harness::sleeps_of_thread(getpid(), waiting) >= sleeps + 20; }));
        released.store(true);
        hold.store(false);
    });
    pause_refresh();
    EXPECT_TRUE(released.load());
    EXPECT_EQ(monitorState.refreshBusy.load(), 0);
    resume_refresh();
    other.join();
}

TEST_F(RefreshThread, ResumeRestoresTheFrame) {
    pause_refresh();
    clear_window(monitorState.mainWindow);
    EXPECT_EQ(mvwinch(monitorState.mainWindow, 0, 0) & A_CHARTEXT, ' ' & A_CHARTEXT);
    resume_refresh();
    EXPECT_NE(mvwinch(monitorState.mainWindow, 0, 0) & A_CHARTEXT, ' ' & A_CHARTEXT);
    EXPECT_EQ(monitorState.refreshPaused.load(), 0);
}

TEST_F(RefreshThread, RunsDetachedOnASmallStackAndTakesNoSignals) {
    ZRP_NEEDS_NO_THREAD_SANITIZER("it enlarges the stacks of threads");
    ASSERT_EQ(start_refresh_thread(), 0);
    ASSERT_TRUE(wait_for_calls('U', 1));
    constexpr size_t kAsked = 0x40000;
    constexpr size_t kGuard = 0x4000; // that the system takes from it or adds to it
    EXPECT_GE(stackSize.load(), kAsked - kGuard);
    EXPECT_LE(stackSize.load(), kAsked + kGuard);
    EXPECT_TRUE(detached.load());
    EXPECT_FALSE(takesSignals.load());
}

TEST_F(RefreshThread, AStopWaitsForTheEndOfTheThread) {
    ASSERT_EQ(start_refresh_thread(), 0);
    ASSERT_TRUE(wait_for_calls('U', 1));
    EXPECT_NE(monitorState.refreshThread.load(), 0U);
    EXPECT_EQ(stop_refresh_thread(), 0);
    EXPECT_EQ(monitorState.refreshThread.load(), 0U);
    EXPECT_EQ(monitorState.refreshStop.load(), 0);
    const std::string atTheEnd = recorded();
    EXPECT_TRUE(wait_until([] {
        const std::vector<pid_t> threads = harness::threads_of(getpid());
        return std::find(threads.begin(), threads.end(), threadId.load()) == threads.end();
    })) << "the thread runs on";
    EXPECT_EQ(recorded(), atTheEnd);
}

TEST_F(RefreshThread, WithoutAThreadAStopReturnsAtOnce) {
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(stop_refresh_thread(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - before, harness::milliseconds{900});
    EXPECT_EQ(monitorState.refreshStop.load(), 0);
}

} // namespace
} // namespace zrp::refresh_thread_test
