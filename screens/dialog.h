// What the selection dialogs share: the window, and the prompt with the line that is typed.
//
// A dialog runs on the main thread while the refresh thread is paused. A loop of a dialog must end
// when ask_user fails, because the line editor keeps failing once the program is to end.
#pragma once

#include <ncurses.h>

namespace zrp {

inline constexpr int kDialogInputMax = 32; // characters of a typed line
using DialogInput = char[kDialogInputMax + 1];

// A framed window over the top of the main window. It is erased from the terminal at the end of its
// scope. get() is null if ncurses cannot create the window; the trace has the reason then.
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

// Clears the window inside its frame and shows it.
void clear_dialog(WINDOW* window);

struct DialogPrompt {
    const char* traceTag; // the dialog's name in the debug trace
    int row;              // at column 1
    const char* text;
};

// Shows the prompt, cut to leave room for the line, and reads a line after it with the line editor,
// from an empty field on. If a special key ends the input
// (*fkeyHit 1, *fkey its code, the input empty), the key is traced. Returns kOk or the line
// editor's code.
int ask_user(WINDOW* window, const DialogPrompt& prompt, DialogInput& input, int* fkeyHit,
             int* fkey);

// True for an empty line and for a line that begins with "q" or "Q".
bool is_quit(const char* input);

// The decimal number at the start of the line. Leading blanks and a sign are accepted, text after
// the digits is ignored, and a line without digits gives 0. A number out of the range of an int
// gives the nearest int rather than an unrelated number.
int typed_number(const char* input);

} // namespace zrp
