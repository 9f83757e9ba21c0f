#include "core/status_row.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <mutex>
#include <poll.h>
#include <unistd.h>

#include "common/bounded_copy.h"
#include "common/exchange_state.h"
#include "common/result.h"
#include "core/layout.h"
#include "core/monitor.h"
#include "core/screen.h"
#include "core/signals.h"
#include "core/window.h"

namespace zrp {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds kWaitingAfter{2};
constexpr milliseconds kLookInterval{1000};

constexpr const char* kDaemonNames[] = {"main daemon", "storage daemon", "management component"};
static_assert(std::size(kDaemonNames) == kDaemonCount);

// The results of a transport that got no whole reply. Any other is the status that the daemon has
// given its reply.
constexpr int kNoAnswerCodes[] = {EPERM,        EAGAIN,   kNoMemory,   EACCES,    ENFILE,
                                  EMFILE,       EPIPE,    ENOBUFS,     ETIMEDOUT, ECONNRESET,
                                  ECONNREFUSED, ENOTCONN, kShortHeader};

using StatusText = char[512];
using Words = char[kStateTextSize];

struct DaemonStatus {
    uint64_t failed = 0; // exchanges, at the last note
    bool isFailing = false;
    Clock::time_point since; // the first failure
    ExchangeResult result;   // of the last failure
};

struct Fault {
    char subject[128] = ""; // empty for none
    int rc = kOk;
    Words words = "";
};

// Guards the status. It is held for a few instructions only.
std::mutex statusMutex;
DaemonStatus daemons[kDaemonCount];
Fault fault;

// Refresh thread only.
Fault faultOfThisPass;
Clock::time_point passBegan;
bool mainThreadLooks = false; // it was woken in this pass, and then looks by itself

StatusText shownText; // main thread only
std::atomic<bool> showsText{false};

bool shown_screen_tolerates_refusal() {
    const Screen* screen = find_screen(monitorState.currentScreen.load());
    return screen != nullptr && screen->toleratesRefusal;
}

bool counts(const ExchangeResult& result, bool toleratesRefusal) {
    return result.transportCode != ECANCELED &&
           !(toleratesRefusal && result.transportCode == ECONNREFUSED);
}

void note(bool forgets) {
    const bool toleratesRefusal = shown_screen_tolerates_refusal();
    for (size_t i = 0; i < kDaemonCount; i++) {
        const ExchangeState state = GetExchangeState(static_cast<DaemonId>(i));
        DaemonStatus& daemon = daemons[i];
        const bool hasFailed =
            state.failed != daemon.failed && counts(state.lastFailure, toleratesRefusal);
        daemon.failed = state.failed;
        if (hasFailed) {
            daemon.since = daemon.isFailing ? daemon.since : state.lastFailure.began;
            daemon.isFailing = true;
            daemon.result = state.lastFailure;
        } else if (forgets) {
            daemon.isFailing = false;
        }
    }
}

bool is_no_answer(int transportCode) {
    return std::find(std::begin(kNoAnswerCodes), std::end(kNoAnswerCodes), transportCode) !=
           std::end(kNoAnswerCodes);
}

// With the lock held.
bool has_text() {
    return fault.subject[0] != '\0' ||
           std::any_of(std::begin(daemons), std::end(daemons),
                       [](const DaemonStatus& daemon) { return daemon.isFailing; });
}

int whole_seconds_since(Clock::time_point time) {
    return static_cast<int>(std::chrono::duration_cast<seconds>(Clock::now() - time).count());
}

void say_no_answer(StatusText& text, const char* name, Clock::time_point since,
                   const char* reason) {
    snprintf(text, sizeof text, "%s: no answer for %d s (%s)", name, whole_seconds_since(since),
             reason);
}

// The server's words without the code, which the library puts before them.
const char* words_without_code(const char* words, int code) {
    char* rest = nullptr;
    if (strtol(words, &rest, 10) == code && rest != words) {
        words = rest + strspn(rest, " ");
    }
    return words[0] != '\0' ? words : ResultText(code);
}

void say_failure(StatusText& text, const char* name, const DaemonStatus& daemon) {
    const auto& [began, transportCode, replyCode, words] = daemon.result;
    if (is_no_answer(transportCode)) {
        say_no_answer(text, name, daemon.since, ResultText(transportCode));
    } else if (transportCode == kBadMagic || (transportCode == kOk && words[0] == '\0')) {
        snprintf(text, sizeof text, "%s: reply not understood (%d)", name,
                 transportCode != kOk ? transportCode : replyCode);
    } else if (transportCode != kOk) {
        snprintf(text, sizeof text, "%s: error %d (%s)", name, transportCode,
                 ResultText(transportCode));
    } else {
        snprintf(text, sizeof text, "%s: error %d (%s)", name, replyCode,
                 words_without_code(words, replyCode));
    }
}

void say_fault(StatusText& text) {
    snprintf(text, sizeof text, "%s: %s (%d)", fault.subject,
             words_without_code(fault.words, fault.rc), fault.rc);
}

bool is_waiting(const ExchangeState& state) {
    return state.phase != ExchangePhase::kIdle && Clock::now() - state.since >= kWaitingAfter;
}

void say_waiting(StatusText& text, const char* name, const DaemonStatus& daemon,
                 const ExchangeState& state) {
    const bool failedBefore = daemon.isFailing && is_no_answer(daemon.result.transportCode);
    say_no_answer(text, name, failedBefore ? std::min(daemon.since, state.since) : state.since,
                  state.phase == ExchangePhase::kWaiting ? "waiting" : "connection not accepted");
}

// What holds up the monitor at this moment comes before what has failed.
void find_text(StatusText& text) {
    text[0] = '\0';
    const std::lock_guard lock(statusMutex);
    for (size_t i = 0; i < kDaemonCount; i++) {
        const ExchangeState state = GetExchangeState(static_cast<DaemonId>(i));
        if (is_waiting(state)) {
            say_waiting(text, kDaemonNames[i], daemons[i], state);
            return;
        }
    }
    if (fault.subject[0] != '\0') {
        say_fault(text);
        return;
    }
    for (size_t i = 0; i < kDaemonCount; i++) {
        if (daemons[i].isFailing) {
            say_failure(text, kDaemonNames[i], daemons[i]);
            return;
        }
    }
}

// Writing to a terminal that is stopped would keep the main thread from its keys.
bool terminal_takes_output() {
    pollfd output = {STDOUT_FILENO, POLLOUT, 0};
    return poll(&output, 1, 0) > 0 && (output.revents & POLLOUT) != 0;
}

void draw(const StatusText& text) {
    const CursesTryLock lock;
    if (!lock.is_held() || !terminal_takes_output()) {
        return; // the next look tries again
    }
    const int row = monitorState.screenLines - kStatusRowFromBottom;
    erase_row(row);
    print_at(stdscr, row, 0, "%s", text);
    refresh_beside_cursor(stdscr);
    copy_cut(shownText, text);
    showsText.store(text[0] != '\0');
}

bool request_is_under_way() {
    if (monitorState.refreshBusy.load() != 0) {
        return true;
    }
    for (size_t i = 0; i < kDaemonCount; i++) {
        if (GetExchangeState(static_cast<DaemonId>(i)).phase != ExchangePhase::kIdle) {
            return true;
        }
    }
    return false;
}

// What a pass has drawn before it was held up.
void show_unfinished_pass() {
    const CursesTryLock lock;
    if (lock.is_held() && terminal_takes_output()) {
        CollectedUpdate::show();
    }
}

} // namespace

void note_start_of_pass() {
    passBegan = Clock::now();
    mainThreadLooks = false;
}

void note_wait_in_pass() {
    if (!mainThreadLooks && Clock::now() - passBegan >= kLookInterval) {
        mainThreadLooks = true;
        wake_main_thread();
    }
}

bool note_end_of_pass() {
    const std::lock_guard lock(statusMutex);
    note(true);
    fault = faultOfThisPass;
    faultOfThisPass = {};
    return has_text() || showsText.load() || has_collected_update();
}

void note_end_of_request() {
    const std::lock_guard lock(statusMutex);
    note(false);
}

void report_fault(const char* subject, int rc, const char* words) {
    copy_cut(faultOfThisPass.subject, subject);
    faultOfThisPass.rc = rc;
    copy_cut(faultOfThisPass.words, words != nullptr ? words : "");
}

int show_status_row() {
    if (monitorState.mainWindow == nullptr) {
        return -1;
    }
    if (has_collected_update()) {
        show_unfinished_pass();
    }
    StatusText text;
    find_text(text);
    if (strcmp(text, shownText) != 0) {
        draw(text);
    }
    const bool looksAgain = text[0] != '\0' || shownText[0] != '\0' || request_is_under_way();
    return looksAgain ? static_cast<int>(kLookInterval.count()) : -1;
}

} // namespace zrp
