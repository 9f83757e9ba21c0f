// Boxed windows and the one way to print into them.
//
// Two threads draw, and ncurses itself is not made for that: every call into it happens while a
// CursesLock is held. The functions below take it themselves; a caller holds it over several of
// them when the terminal must not show a state in between. Nobody waits for input while holding it.
#pragma once

#include <ncurses.h>

namespace zrp {

// Holds the right to call ncurses. May be nested within one thread.
class CursesLock {
public:
    CursesLock();
    ~CursesLock();
    CursesLock(const CursesLock&) = delete;
    CursesLock& operator=(const CursesLock&) = delete;
};

inline constexpr short kBoxedPair = 3; // white on blue: every boxed window
inline constexpr short kMenuPair = 5;  // cyan on black: the standard screen

// Makes a framed window of the given size and place and shows it. Null when ncurses cannot make it.
WINDOW* create_newwin(int height, int width, int startY, int startX);

// Wipes the window and its frame from the terminal and deletes it. Null is ignored.
void destroy_win(WINDOW* window);

// Draws the frame into the window; shown by the next refresh_window.
void draw_frame(WINDOW* window);

void clear_window(WINDOW* window);
void refresh_window(WINDOW* window);

// Cells between the frames, on the terminal's menu lines the whole width: first and last column
// that text may use.
struct Inside {
    int firstRow;
    int lastRow;
    int firstColumn;
    int lastColumn;
};
Inside inside_of(WINDOW* window);

// Prints formatted text at a row and column of the window; shown by the next refresh_window. What
// would pass the inside of the window is cut, a row outside it prints nothing. Control characters,
// bytes that are no text in the locale and characters without a width become '?', so that nothing a
// server sends can steer the terminal.
[[gnu::format(printf, 4, 5)]] void print_at(WINDOW* window, int row, int column, const char* format,
                                            ...);

} // namespace zrp
