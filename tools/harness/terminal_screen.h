// Reads what a program sends to an xterm and holds the screen that a user would see.
//
// Rows and columns count from 0. Positions outside the screen read as blank cells.
#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zrp::harness {

// A palette index 0..255 (0 black, 1 red, 2 green, 3 yellow, 4 blue, 5 magenta, 6 cyan, 7 white),
// kDefaultColor, or kDirectColor + 0xRRGGBB.
inline constexpr int kDefaultColor = -1;
inline constexpr int kDirectColor = 0x1000000;

struct Cell {
    std::string text = " "; // UTF-8; empty for the right half of a wide character
    int foreground = kDefaultColor;
    int background = kDefaultColor;
    bool bold = false;
    bool underline = false;
    bool blink = false;
    bool reverse = false;

    bool operator==(const Cell&) const = default;
};

struct Cursor {
    int row = 0;
    int column = 0;
    bool visible = true;

    bool operator==(const Cursor&) const = default;
};

// A screen at one moment, for comparing and drawing.
struct Snapshot {
    int rows = 0;
    int columns = 0;
    std::vector<Cell> cells; // row by row

    bool operator==(const Snapshot&) const = default;

    [[nodiscard]] const Cell& at(int row, int column) const {
        return cells.at(static_cast<size_t>(row) * static_cast<size_t>(columns) +
                        static_cast<size_t>(column));
    }

    // All rows, each without trailing blanks and with a newline.
    [[nodiscard]] std::string text() const;
};

// For messages of tests.
std::ostream& operator<<(std::ostream& out, const Cell& cell);
std::ostream& operator<<(std::ostream& out, const Cursor& cursor);
std::ostream& operator<<(std::ostream& out, const Snapshot& snapshot);

class TerminalScreen {
public:
    TerminalScreen(int rows, int columns);
    TerminalScreen(const TerminalScreen&) = delete;
    TerminalScreen& operator=(const TerminalScreen&) = delete;
    ~TerminalScreen();

    // Bytes from the program to the terminal, in pieces of any size.
    void feed(std::string_view bytes);

    // Receives the bytes with which the terminal answers a query of the program.
    void on_answer(std::function<void(std::string_view)> take);

    void resize(int rows, int columns);

    [[nodiscard]] int rows() const;
    [[nodiscard]] int columns() const;
    [[nodiscard]] Cell cell(int row, int column) const;

    // `count` cells from a position on, with their blanks; by default up to the end of the row.
    [[nodiscard]] std::string text_at(int row, int column, int count = INT32_MAX) const;

    // A row without trailing blanks.
    [[nodiscard]] std::string row(int row) const;

    // The first row from `from` on that contains the text, or -1.
    [[nodiscard]] int find_row(std::string_view text, int from = 0) const;

    [[nodiscard]] Snapshot snapshot() const;
    [[nodiscard]] std::string text() const; // of a snapshot
    [[nodiscard]] Cursor cursor() const;

    // A full-screen program switches to the alternate screen, and back when it ends properly.
    [[nodiscard]] bool alternate_screen() const;

private:
    struct Vterm; // keeps the emulator's header out of this one
    std::unique_ptr<Vterm> vterm_;
};

} // namespace zrp::harness
