// The background thread that keeps the display current, and its handshake with the main thread.
//
// A pass updates the up-time strip and then, unless paused, draws the shown screen. Only the main
// thread calls the functions below.
#pragma once

namespace zrp {

// Starts the thread; request_first_draw comes before. Returns kOk or the code of pthread_create.
int start_refresh_thread();

// Asks the thread to end and waits for it, which takes up to the refresh interval, or less once the
// terminal is gone. Returns kOk.
int stop_refresh_thread();

// Waits for the end of the current pass and takes over the main window: later passes do not draw
// into it until resume_refresh.
void pause_refresh();

// Releases the main window and restores its frame at once. The next pass restores its contents.
void resume_refresh();

// Makes the next pass that draws begin with the screen's labels.
void request_first_draw();

} // namespace zrp
