// Signals: the wish to end the program, and the wish to stop it for a while.
//
// A handler only notes the wish, wakes the main thread and breaks off waiting exchanges; the main
// thread acts on it between two keys, where it is neither inside ncurses nor inside malloc. That
// makes the end happen once, however many signals arrive.
#pragma once

#include <csignal>

namespace zrp {

// Installs the handlers. ncurses finds its own signals taken and leaves them alone.
void install_signal_handlers();

// Remembers the terminal's modes as the user's shell left them. Call it before ncurses changes
// them.
void remember_terminal_modes();

// The terminal is the monitor's between these two: only then does a request for the end touch it.
// Releasing it restores the modes remembered, whatever a signal made of them meanwhile.
void claim_terminal();
void release_terminal();

// True once a signal, a lost terminal or the user asked for the end.
bool termination_requested();

// Asks for the end, breaks off exchanges that wait for a daemon and lets a stopped terminal
// (Ctrl-S) take output again. May be called from a handler.
//
// A terminal that takes no output for another reason (a connection that hangs) holds whoever draws,
// and nobody could end the program any more. As a last resort it ends a few seconds after the
// longest regular shutdown: with status 0 and the terminal's modes restored, without the screen
// that cannot be written.
void request_termination();

// True once for each request of the terminal to stop (Ctrl-Z).
bool take_stop_request();

// Stops the process as the signal would by itself and returns when it is continued.
void stop_process();

// Becomes readable when one of the requests above arrives.
int signal_fd();

// Empties signal_fd() after a wake-up.
void drain_signal_fd();

// Blocks every signal for the calling thread and for threads that it starts meanwhile.
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
