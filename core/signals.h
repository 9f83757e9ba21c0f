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

// True once a signal, a lost terminal or the user asked for the end.
bool termination_requested();

// Asks for the end and breaks off exchanges that wait for a daemon. May be called from a handler.
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
