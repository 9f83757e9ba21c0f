#include "core/refresh_thread.h"

#include <sched.h>
#include <unistd.h>

#include "core/monitor.h"
#include "core/screen.h"
#include "core/signals.h"
#include "core/window.h"

namespace zrp {
namespace {

constexpr size_t kStackSize = 0x40000;

// A pass that a healthy server answers is over within these turns; the rest of a longer one is
// slept through, so that waiting for a mute daemon burns no processor.
constexpr int kSpins = 100;
constexpr useconds_t kNapMicroseconds = 1000;

void wait_for_pass_end() {
    for (int spin = 0; monitorState.refreshBusy.load() != 0; spin++) {
        if (spin < kSpins) {
            sched_yield();
        } else {
            usleep(kNapMicroseconds);
        }
    }
}

void draw_screen() {
    const int firstDraw = monitorState.refreshFirstDraw.exchange(0);
    const Screen* screen = find_screen(monitorState.currentScreen.load());
    if (screen == nullptr) {
        return;
    }
    if (firstDraw != 0 && screen->drawLabels != nullptr) {
        screen->drawLabels(monitorState.mainWindow);
    }
    if (screen->update != nullptr) {
        screen->update(monitorState.mainWindow);
    }
}

// Nothing signals the condition: a switch, a first draw and the end all wait for the deadline.
void wait_for_interval() {
    const int interval = monitorState.refreshInterval.load();
    monitorState.intervalUnderWay.store(interval);
    timespec deadline = {};
    pthread_mutex_lock(&monitorState.refreshMutex);
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += interval;
    pthread_cond_timedwait(&monitorState.refreshCond, &monitorState.refreshMutex, &deadline);
    pthread_mutex_unlock(&monitorState.refreshMutex);
}

bool stop_requested() {
    return monitorState.refreshStop.load() != 0;
}

void* refresh_thread(void* /*unused*/) {
    while (!stop_requested()) {
        monitorState.refreshBusy.store(1);
        screen_set().updateStrip();
        if (monitorState.refreshPaused.load() == 0) {
            draw_screen();
        }
        monitorState.refreshBusy.store(0);
        if (!stop_requested()) {
            wait_for_interval();
        }
    }
    monitorState.refreshThread.store(0);
    monitorState.refreshStop.store(0); // the acknowledgement: nothing may follow it
    return nullptr;
}

} // namespace

int start_refresh_thread() {
    monitorState.refreshStop.store(0);
    monitorState.refreshBusy.store(0);
    monitorState.refreshPaused.store(0);
    pthread_mutex_init(&monitorState.refreshMutex, nullptr);
    // A clock that is set back must not hold the screens still.
    pthread_condattr_t condition;
    pthread_condattr_init(&condition);
    pthread_condattr_setclock(&condition, CLOCK_MONOTONIC);
    pthread_cond_init(&monitorState.refreshCond, &condition);
    pthread_condattr_destroy(&condition);

    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_attr_setstacksize(&attributes, kStackSize);
    pthread_t thread = 0;
    const SignalBlock inheritedByTheThread;
    const int rc = pthread_create(&thread, &attributes, refresh_thread, nullptr);
    if (rc == 0) {
        // The thread clears the handle only after a stop was asked for, so never before this.
        monitorState.refreshThread.store(thread);
        sched_yield();
    }
    pthread_attr_destroy(&attributes);
    return rc;
}

int stop_refresh_thread() {
    if (monitorState.refreshThread.load() == 0) {
        return 0;
    }
    monitorState.refreshStop.store(1);
    while (monitorState.refreshStop.load() != 0) {
        sleep(1);
    }
    return 0;
}

// The thread sets busy and then tests paused; this side sets paused and then tests busy. All four
// are sequentially consistent, so they have one order. If the thread sets busy before the last look
// at busy below, that look sees 1 until the pass has ended, whatever it drew. If it sets busy after
// that look, it tests paused after paused was set, and leaves the main window alone. So once this
// returns, no pass draws into the main window. The look before paused is set lets a pass that
// already began finish its drawing.
void pause_refresh() {
    wait_for_pass_end();
    monitorState.refreshPaused.store(1);
    wait_for_pass_end();
}

void resume_refresh() {
    wait_for_pass_end();
    const CursesLock lock;
    monitorState.refreshPaused.store(0);
    if (monitorState.mainWindow != nullptr) {
        draw_frame(monitorState.mainWindow);
        refresh_window(monitorState.mainWindow);
    }
}

void request_first_draw() {
    monitorState.refreshFirstDraw.store(1);
}

} // namespace zrp
