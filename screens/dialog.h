// What the selection dialogs share: a window that never outlives its dialog, and the walk from the
// prompt to the typed line.
//
// A dialog runs on the main thread while the refresh thread is paused. Its loop must end when
// ask_user fails: the line editor fails for good once the program is to end.
#pragma once

#include <ncurses.h>

namespace zrp {

inline constexpr int kDialogInputMax = 32; // characters of a typed line
using DialogInput = char[kDialogInputMax + 1];

// A framed window over the top of the main window with function keys switched on; wiped off the
// terminal at the end of its scope. Test get() for null; the trace then has the reason, under the
// dialog's name.
class DialogWindow {
public:
    DialogWindow(const char* traceTag, int height);
    ~DialogWindow();
    DialogWindow(const DialogWindow&) = delete;
    DialogWindow& operator=(const DialogWindow&) = delete;

    WINDOW* get() const {
        return window;
    }

private:
    WINDOW* window;
};

// Empties the window down to its frame and shows it, before another page is drawn.
void clear_dialog(WINDOW* window);

struct DialogPrompt {
    const char* traceTag; // the dialog's name in the debug trace
    int row;              // at column 1
    const char* text;
};

// Shows the prompt and reads a line behind it. A special key that ends the input (*fkeyHit 1, *fkey
// its code, the input empty) goes to the trace. Returns 0, or the line editor's code.
int ask_user(WINDOW* window, const DialogPrompt& prompt, DialogInput& input, int* fkeyHit,
             int* fkey);

// True for an empty line and for one that begins with "q" or "Q".
bool is_quit(const char* input);

// The decimal number at the start of the line: leading blanks and a sign are taken, what follows
// the digits is ignored, no digits give 0. A number that an int cannot hold gives the nearest one,
// so that it never passes for another number.
int typed_number(const char* input);

} // namespace zrp
