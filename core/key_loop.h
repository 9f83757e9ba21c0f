// The main thread's life: keys switch screens, open dialogs, change the interval and end the
// program.
#pragma once

namespace zrp {

// Reads and acts on keys until one of them, a signal or the loss of the terminal ends the program
// through cleanup_and_exit.
[[noreturn]] void key_loop();

} // namespace zrp
