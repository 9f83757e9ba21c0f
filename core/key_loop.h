// The key loop of the main thread: keys switch screens, open dialogs, change the refresh interval
// and end the program.
#pragma once

namespace zrp {

// Reads keys and acts on them until a key, a signal or the loss of the terminal ends the program
// through cleanup_and_exit.
[[noreturn]] void key_loop();

} // namespace zrp
