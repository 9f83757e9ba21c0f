#include "tools/harness/picture.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <map>
#include <string_view>
#include <vector>

namespace zrp::harness {
namespace {

// In units of the document. Half a cell and half a line's width are whole numbers of them.
constexpr int kCellWidth = 12;
constexpr int kCellHeight = 24;
constexpr int kBaseline = 18;
constexpr int kFontSize = 20; // most monospaced fonts are three fifths as wide as high
constexpr int kLineWidth = 2;
constexpr int kMargin = 10;

constexpr int kDefaultForeground = 7;
constexpr int kDefaultBackground = 0;

// The colours of an xterm.
constexpr std::array<int, 16> kPalette = {
    0x000000, 0xcd0000, 0x00cd00, 0xcdcd00, 0x0000ee, 0xcd00cd, 0x00cdcd, 0xe5e5e5,
    0x7f7f7f, 0xff0000, 0x00ff00, 0xffff00, 0x5c5cff, 0xff00ff, 0x00ffff, 0xffffff,
};
constexpr std::array<int, 6> kCubeSteps = {0, 95, 135, 175, 215, 255};
constexpr int kFirstOfCube = 16;
constexpr int kFirstGrey = 232;

int palette_color(int index) {
    if (index < kFirstOfCube) {
        return kPalette.at(static_cast<size_t>(index));
    }
    if (index >= kFirstGrey) {
        return (8 + 10 * (index - kFirstGrey)) * 0x010101;
    }
    const auto step = [&](int place) {
        return kCubeSteps.at(static_cast<size_t>((index - kFirstOfCube) / place % 6));
    };
    return step(36) << 16 | step(6) << 8 | step(1);
}

__attribute__((format(printf, 1, 2))) std::string format(const char* text, ...) {
    std::array<char, 256> buffer{};
    va_list arguments;
    va_start(arguments, text);
    vsnprintf(buffer.data(), buffer.size(), text, arguments);
    va_end(arguments);
    return buffer.data();
}

std::string color_text(int color, int ifDefault) {
    if (color == kDefaultColor) {
        color = ifDefault;
    }
    return format("#%06x", color >= kDirectColor ? color - kDirectColor : palette_color(color));
}

std::string ink(const Cell& cell) {
    return cell.reverse ? color_text(cell.background, kDefaultBackground)
                        : color_text(cell.foreground, kDefaultForeground);
}

std::string paper(const Cell& cell) {
    return cell.reverse ? color_text(cell.foreground, kDefaultForeground)
                        : color_text(cell.background, kDefaultBackground);
}

std::string default_paper() {
    return paper(Cell{});
}

std::string escape(std::string_view text) {
    std::string result;
    for (const char c : text) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        default:
            result += c;
        }
    }
    return result;
}

// Backgrounds: one rectangle for adjacent cells of one colour, and for equal rectangles in adjacent
// rows.

struct Rectangle {
    int row;
    int column;
    int rows;
    int columns;
    std::string color;
};

bool continues(const Rectangle& above, const Rectangle& below) {
    return above.row + above.rows == below.row && above.column == below.column &&
           above.columns == below.columns && above.color == below.color;
}

void add_rectangle(std::vector<Rectangle>& all, const Rectangle& added) {
    const auto above = std::find_if(all.begin(), all.end(), [&](const Rectangle& candidate) {
        return continues(candidate, added);
    });
    if (above != all.end()) {
        above->rows++;
    } else {
        all.push_back(added);
    }
}

void draw_backgrounds(const Snapshot& snapshot, std::string& svg) {
    const std::string defaultPaper = default_paper();
    std::vector<Rectangle> all;
    for (int row = 0; row < snapshot.rows; row++) {
        for (int column = 0, end = 0; column < snapshot.columns; column = end) {
            const std::string color = paper(snapshot.at(row, column));
            while (++end < snapshot.columns && paper(snapshot.at(row, end)) == color) {
            }
            if (color != defaultPaper) {
                add_rectangle(all, {row, column, 1, end - column, color});
            }
        }
    }
    for (const Rectangle& one : all) {
        svg += format(R"(<rect x="%d" y="%d" width="%d" height="%d" fill="%s"/>)"
                      "\n",
                      one.column * kCellWidth, one.row * kCellHeight, one.columns * kCellWidth,
                      one.rows * kCellHeight, one.color.c_str());
    }
}

// Frames: each character consists of arms from the centre of its cell to the edges.

enum Arm : unsigned { kNone = 0, kLeftArm = 1, kRightArm = 2, kUpArm = 4, kDownArm = 8 };

struct FrameCharacter {
    std::string_view text;
    unsigned arms;
};

constexpr FrameCharacter kFrameCharacters[] = {
    {"\u2500", kLeftArm | kRightArm},
    {"\u2502", kUpArm | kDownArm},
    {"\u250c", kRightArm | kDownArm},
    {"\u2510", kLeftArm | kDownArm},
    {"\u2514", kRightArm | kUpArm},
    {"\u2518", kLeftArm | kUpArm},
    {"\u251c", kRightArm | kUpArm | kDownArm},
    {"\u2524", kLeftArm | kUpArm | kDownArm},
    {"\u252c", kLeftArm | kRightArm | kDownArm},
    {"\u2534", kLeftArm | kRightArm | kUpArm},
    {"\u253c", kLeftArm | kRightArm | kUpArm | kDownArm},
};

unsigned arms_of(const Cell& cell) {
    const auto* const found =
        std::find_if(std::begin(kFrameCharacters), std::end(kFrameCharacters),
                     [&](const FrameCharacter& one) { return one.text == cell.text; });
    return found == std::end(kFrameCharacters) ? kNone : found->arms;
}

using Paths = std::map<std::string, std::string>; // of each colour

// Collects the lines along one row or column of cells. Positions are in half cells.
class Line {
public:
    Line(Paths& paths, bool isRow, int number) : paths_(paths), isRow_(isRow), number_(number) {}
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;
    ~Line() {
        finish();
    }

    void add(const Cell& cell) {
        const unsigned arms = arms_of(cell);
        const std::string color = ink(cell);
        add_half((arms & (isRow_ ? kLeftArm : kUpArm)) != 0, color);
        add_half((arms & (isRow_ ? kRightArm : kDownArm)) != 0, color);
    }

private:
    void add_half(bool drawn, const std::string& color) {
        if (!drawn || color != color_) {
            finish();
        }
        if (drawn && start_ < 0) {
            start_ = position_;
            color_ = color;
        }
        position_++;
    }

    void finish() {
        constexpr int kHalfWidth = kCellWidth / 2;
        constexpr int kHalfHeight = kCellHeight / 2;
        if (start_ >= 0) {
            const int middle = 2 * number_ + 1;
            paths_[color_] += isRow_ ? format("M%d %dH%d", start_ * kHalfWidth,
                                              middle * kHalfHeight, position_ * kHalfWidth)
                                     : format("M%d %dV%d", middle * kHalfWidth,
                                              start_ * kHalfHeight, position_ * kHalfHeight);
        }
        start_ = -1;
    }

    Paths& paths_;
    bool isRow_;
    int number_;
    int position_ = 0;
    int start_ = -1; // of the current line, or -1
    std::string color_;
};

void draw_frames(const Snapshot& snapshot, std::string& svg) {
    Paths paths;
    for (int row = 0; row < snapshot.rows; row++) {
        Line line(paths, true, row);
        for (int column = 0; column < snapshot.columns; column++) {
            line.add(snapshot.at(row, column));
        }
    }
    for (int column = 0; column < snapshot.columns; column++) {
        Line line(paths, false, column);
        for (int row = 0; row < snapshot.rows; row++) {
            line.add(snapshot.at(row, column));
        }
    }
    for (const auto& [color, path] : paths) {
        svg += format(R"(<path stroke="%s" stroke-width="%d" stroke-linecap="square" d=")",
                      color.c_str(), kLineWidth);
        svg += path;
        svg += "\"/>\n";
    }
}

// Text: one element for each piece without two adjacent blanks.

struct Piece {
    int row;
    int start;
    int end;
    std::string text;
};

bool is_text(const Cell& cell) {
    return cell.text != " " && arms_of(cell) == kNone;
}

bool is_wide(const Snapshot& snapshot, int row, int column) {
    return column + 1 < snapshot.columns && snapshot.at(row, column + 1).text.empty();
}

bool look_alike(const Cell& one, const Cell& other) {
    return ink(one) == ink(other) && one.bold == other.bold && one.underline == other.underline;
}

// The piece of text that begins at a cell. A wide character is a piece by itself, so that a font
// with other widths does not move its neighbours.
Piece piece_at(const Snapshot& snapshot, int row, int start) {
    const Cell& first = snapshot.at(row, start);
    if (is_wide(snapshot, row, start)) {
        return {row, start, start + 2, first.text};
    }
    Piece piece{row, start, start, ""};
    for (int column = start; column < snapshot.columns; column++) {
        const Cell& cell = snapshot.at(row, column);
        if (!is_text(cell) && (piece.end < column || cell.text != " ")) {
            break;
        }
        if (is_text(cell)) {
            if (!look_alike(cell, first) || is_wide(snapshot, row, column)) {
                break;
            }
            piece.text.append(static_cast<size_t>(column - piece.end), ' ');
            piece.text += cell.text;
            piece.end = column + 1;
        }
    }
    return piece;
}

void draw_piece(const Piece& piece, const Cell& look, std::string& svg) {
    svg += format(R"(<text x="%d" y="%d" textLength="%d" fill="%s")", piece.start * kCellWidth,
                  piece.row * kCellHeight + kBaseline, (piece.end - piece.start) * kCellWidth,
                  ink(look).c_str());
    svg += look.bold ? R"( font-weight="bold")" : "";
    svg += look.underline ? R"( text-decoration="underline")" : "";
    svg += '>';
    svg += escape(piece.text);
    svg += "</text>\n";
}

void draw_texts(const Snapshot& snapshot, std::string& svg) {
    for (int row = 0; row < snapshot.rows; row++) {
        for (int column = 0; column < snapshot.columns;) {
            const Cell& cell = snapshot.at(row, column);
            if (!is_text(cell)) {
                column++;
                continue;
            }
            const Piece piece = piece_at(snapshot, row, column);
            draw_piece(piece, cell, svg);
            column = piece.end;
        }
    }
}

} // namespace

std::string draw_svg(const Snapshot& snapshot, const std::string& title) {
    const int width = snapshot.columns * kCellWidth + 2 * kMargin;
    const int height = snapshot.rows * kCellHeight + 2 * kMargin;
    std::string svg = format(R"(<svg xmlns="http://www.w3.org/2000/svg" viewBox="%d %d %d %d")",
                             -kMargin, -kMargin, width, height);
    svg += format(R"( font-family="monospace" font-size="%d">)", kFontSize);
    svg += "\n<title>";
    svg += escape(title);
    svg += "</title>\n";
    svg += format(R"(<rect x="%d" y="%d" width="%d" height="%d" fill="%s"/>)"
                  "\n",
                  -kMargin, -kMargin, width, height, default_paper().c_str());
    draw_backgrounds(snapshot, svg);
    draw_frames(snapshot, svg);
    draw_texts(snapshot, svg);
    return svg + "</svg>\n";
}

} // namespace zrp::harness
