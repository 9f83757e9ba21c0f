// The row that says what does not answer and since when. It is blank while all is well.
//
// The refresh thread notes what became of the requests of a pass, and the main thread draws the row
// while it waits, also while a daemon holds up the refresh thread.
#pragma once

namespace zrp {

// Refresh thread, at the start of a pass.
void note_start_of_pass();

// Wakes the main thread if the pass has taken a second. Refresh thread, now and then while
// something else than the drawing holds it up.
void note_wait_in_pass();

// Notes which daemons have failed since the last note, and forgets the failures of those that have
// not: they have answered, or the shown screen no longer asks them. Returns true if the main thread
// has to draw. Refresh thread, at the end of a pass.
bool note_end_of_pass();

// Notes the failures of a dialog's request, and forgets none. Main thread.
void note_end_of_request();

// Says that the subject of the shown screen is at fault, such as "volume SYS", with the result and
// the words of the server; null for the usual text of the result. It holds until the end of the
// next pass. Refresh thread, during a pass.
void report_fault(const char* subject, int rc, const char* words);

// Draws the row if its text has changed and the terminal takes output. Returns in how many
// milliseconds to look again, or -1 if there is nothing to say and no request under way. Main
// thread.
int show_status_row();

} // namespace zrp
