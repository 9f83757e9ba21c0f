// Boxed windows and printing into them.
//
// Two threads draw, and ncurses is not thread-safe, so every call into it is made with a CursesLock
// held. The functions below take the lock themselves. A caller holds it over several calls if the
// terminal must not show the state between them. Nobody waits for input while holding it.
#pragma once

#include <ncurses.h>

namespace zrp {

// Holds the lock of ncurses, which is recursive.
class CursesLock {
public:
    CursesLock();
    ~CursesLock();
    CursesLock(const CursesLock&) = delete;
    CursesLock& operator=(const CursesLock&) = delete;
};

// The same if nobody else holds the lock: for what can be drawn later.
class CursesTryLock {
public:
    CursesTryLock();
    ~CursesTryLock();
    CursesTryLock(const CursesTryLock&) = delete;
    CursesTryLock& operator=(const CursesTryLock&) = delete;

    [[nodiscard]] bool is_held() const {
        return isHeld;
    }

private:
    bool isHeld;
};

inline constexpr short kBoxedPair = 3; // white on blue: every boxed window
inline constexpr short kMenuPair = 5;  // cyan on black: the standard screen

// Hides the cursor where the terminal can. An update of a pass then leaves it where it wrote last.
void hide_cursor();

// Creates a framed window and shows it. Returns null if ncurses cannot create it.
WINDOW* create_newwin(int height, int width, int startY, int startX);

// Erases the window and its frame from the terminal and deletes it. Null is ignored.
void destroy_win(WINDOW* window);

// Draws the frame into the window. The next refresh_window shows it.
void draw_frame(WINDOW* window);

void clear_window(WINDOW* window);
void refresh_window(WINDOW* window);

// While it lives, refresh_window on this thread collects what changes, and show() and the end of
// the scope write it to the terminal in one piece. The cursor of the terminal stays where it is.
class [[nodiscard]] CollectedUpdate {
public:
    CollectedUpdate();
    ~CollectedUpdate();
    CollectedUpdate(const CollectedUpdate&) = delete;
    CollectedUpdate& operator=(const CollectedUpdate&) = delete;

    static void show();
};

// True if something is collected that the terminal does not show yet.
bool has_collected_update();

// The same, and leaves the cursor of the terminal where it is.
void refresh_beside_cursor(WINDOW* window);

// The first and last row and column that text may use: the cells inside the frame, or all cells of
// stdscr, which has no frame.
struct Inside {
    int firstRow;
    int lastRow;
    int firstColumn;
    int lastColumn;
};
Inside inside_of(WINDOW* window);

// Prints formatted text at a row and column of the window. The next refresh_window shows it. Text
// is cut at the inside of the window; a row outside it prints nothing. Control characters, bytes
// that are not valid in the locale and characters without a width become '?', so that nothing a
// server sends controls the terminal.
[[gnu::format(printf, 4, 5)]] void print_at(WINDOW* window, int row, int column, const char* format,
                                            ...);

// The same, with the text cut to so many columns of the terminal.
[[gnu::format(printf, 5, 6)]] void print_in(WINDOW* window, int row, int column, int width,
                                            const char* format, ...);

// Makes a row of stdscr what it was before anything was printed there. The next refresh_window
// shows it.
void erase_row(int row);

// Blanks a row inside the window from a column on. The next refresh_window shows it.
void blank_row(WINDOW* window, int row, int column);

} // namespace zrp
