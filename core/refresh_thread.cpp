#include "core/refresh_thread.h"

#include <sched.h>

#include "common/result.h"
#include "common/wait_listener.h"
#include "core/input.h"
#include "core/monitor.h"
#include "core/screen.h"
#include "core/signals.h"
#include "core/status_row.h"
#include "core/window.h"

namespace zrp {
namespace {

constexpr size_t kStackSize = 0x40000;

void wait_for_pass_end() {
    wait_until_clear(monitorState.refreshBusy);
}

void draw_screen() {
    const int firstDraw = monitorState.refreshFirstDraw.exchange(0);
    const Screen* screen = find_screen(monitorState.currentScreen.load());
    if (screen == nullptr) {
        return;
    }
    if (firstDraw != 0 && screen->drawLabels != nullptr) {
        screen->drawLabels(monitorState.mainWindow);
        CollectedUpdate::show(); // the daemon may not answer for long
    }
    if (screen->update != nullptr) {
        screen->update(monitorState.mainWindow);
    }
}

void make_pass() {
    const CollectedUpdate atTheEnd;
    screen_set().updateStrip();
    if (monitorState.refreshPaused.load() == 0) {
        draw_screen();
    }
}

bool stop_requested() {
    return monitorState.refreshStop.load() != 0;
}

// Compatibility: a switch, a first draw and the end of the program wait for the deadline. Only once
// the terminal is gone, with nothing left to draw on, the condition is signalled.
void wait_for_interval() {
    const int interval = monitorState.refreshInterval.load();
    monitorState.currentWaitSeconds.store(interval);
    timespec deadline = {};
    pthread_mutex_lock(&monitorState.refreshMutex);
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += interval;
    if (!stop_requested()) {
        pthread_cond_timedwait(&monitorState.refreshCond, &monitorState.refreshMutex, &deadline);
    }
    pthread_mutex_unlock(&monitorState.refreshMutex);
}

void end_the_wait() {
    pthread_mutex_lock(&monitorState.refreshMutex);
    pthread_cond_signal(&monitorState.refreshCond);
    pthread_mutex_unlock(&monitorState.refreshMutex);
}

void* refresh_thread(void* /*unused*/) {
    set_wait_listener(note_wait_in_pass);
    while (!stop_requested()) {
        monitorState.refreshBusy.store(1);
        note_start_of_pass();
        make_pass();
        const bool hasToDraw = note_end_of_pass();
        monitorState.refreshBusy.store(0);
        if (hasToDraw || waits_until_clear()) {
            wake_main_thread();
        }
        wait_for_interval();
    }
    monitorState.refreshThread.store(0);
    monitorState.refreshStop.store(0); // acknowledges the stop: nothing that is released after it
    wake_main_thread();
    return nullptr;
}

} // namespace

int start_refresh_thread() {
    monitorState.refreshStop.store(0);
    monitorState.refreshBusy.store(0);
    monitorState.refreshPaused.store(0);
    pthread_mutex_init(&monitorState.refreshMutex, nullptr);
    // With the wall clock, setting the time back would stop the refresh for that long.
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
    const SignalBlock inheritedByThread;
    const int rc = pthread_create(&thread, &attributes, refresh_thread, nullptr);
    if (rc == kOk) {
        // The thread clears the handle only after a stop request, so never before this.
        monitorState.refreshThread.store(thread);
        sched_yield();
    }
    pthread_attr_destroy(&attributes);
    return rc;
}

int stop_refresh_thread() {
    if (monitorState.refreshThread.load() == 0) {
        return kOk;
    }
    monitorState.refreshStop.store(1);
    while (monitorState.refreshStop.load() != 0) {
        if (terminal_is_lost()) {
            end_the_wait();
        }
        wait_for_event();
    }
    return kOk;
}

// The thread sets busy and then tests paused; this function sets paused and then tests busy. The
// four accesses are sequentially consistent, so there is a single order of them. If the thread sets
// busy before the last test of busy below, that test sees 1 until the pass has ended. If it sets
// busy after that test, it tests paused after paused was set, and does not draw into the main
// window. So no pass draws into the main window once this function has returned. The first wait
// lets a pass that has already begun draw to its end.
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
