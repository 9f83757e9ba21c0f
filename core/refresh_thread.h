// The background thread that keeps the terminal current, and its handshake with the main thread.
//
// A pass updates the up-time strip and then, unless paused, draws the shown screen. All functions
// below but the thread itself are called by the main thread only.
#pragma once

namespace zrp {

// Starts the thread. The caller requests the first draw before. Returns 0 or the code of the thread
// creation.
int start_refresh_thread();

// Asks the thread to end and waits for it: up to the refresh interval, rounded up to whole seconds.
// Returns 0.
int stop_refresh_thread();

// Waits for the end of a pass under way and takes the main window over: later passes leave it alone
// until resume_refresh.
void pause_refresh();

// Gives the main window back and restores its frame at once; its contents follow with the next
// pass.
void resume_refresh();

// Lets the next pass that draws begin with the screen's labels.
void request_first_draw();

} // namespace zrp
