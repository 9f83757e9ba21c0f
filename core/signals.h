// Signals that request the end of the program or suspend it.
//
// A handler only records the request, wakes the main thread and interrupts waiting exchanges. The
// main thread acts on the request while it waits (input.h), when it is inside neither ncurses nor
// malloc. So the program ends once, however many signals arrive.
#pragma once

#include <csignal>

namespace zrp {

// Installs the handlers and unblocks all signals. Must be called before ncurses starts, which then
// installs none of its own.
void install_signal_handlers();

// Saves the terminal modes that the shell has set. Must be called before ncurses changes them.
void remember_terminal_modes();

// The monitor owns the terminal between these two calls, and a termination request changes the
// terminal's modes only then. Releasing it restores the saved modes.
void claim_terminal();
void release_terminal();
bool terminal_is_claimed();

// True if the program is a background job of a shell, so that the terminal belongs to the shell.
// May be called from a handler.
bool is_in_background();

// True once a signal, the loss of the terminal or the user has requested the end.
bool termination_requested();

// Requests the end of the program, interrupts exchanges that wait for a daemon, and resumes output
// that Ctrl-S has stopped. May be called from a handler.
//
// If the terminal accepts no output for another reason, such as a connection that hangs, the thread
// that draws is blocked and a regular shutdown is impossible. In that case a timer ends the program
// a few seconds after the longest regular shutdown, with status 0 and the terminal modes restored
// but without restoring the screen.
void request_termination();

// True once for each stop request from the terminal (Ctrl-Z).
bool take_stop_request();

// True once after the process was continued, whatever had stopped it.
bool take_continue_request();

// Stops the process, as SIGTSTP does by default, and returns when it is continued. Does not stop a
// process that is to end.
void stop_process();

// A descriptor that becomes readable when one of the requests above arrives; -1 if the system has
// none.
int signal_fd();

// Makes signal_fd() readable. May be called from any thread and from a handler.
void wake_main_thread();

// Makes signal_fd() unreadable again.
void drain_signal_fd();

// Blocks all signals for the calling thread and for the threads that it starts meanwhile.
class SignalBlock {
public:
    SignalBlock();
    ~SignalBlock();
    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;

private:
    sigset_t saved;
};

} // namespace zrp
