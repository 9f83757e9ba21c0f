#include "tools/harness/terminal_screen.h"

#include <algorithm>
#include <iterator>
#include <ostream>

#include <vterm.h>

namespace zrp::harness {
namespace {

constexpr uint32_t kRightHalf = UINT32_MAX; // what libvterm stores after a wide character

std::string cut_blanks(std::string text) {
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

void append_utf8(std::string& text, uint32_t code) {
    const auto tail = [&](int shift) {
        text += static_cast<char>(0x80U | ((code >> static_cast<unsigned>(shift)) & 0x3FU));
    };
    if (code < 0x80) {
        text += static_cast<char>(code);
    } else if (code < 0x800) {
        text += static_cast<char>(0xC0U | (code >> 6U));
        tail(0);
    } else if (code < 0x10000) {
        text += static_cast<char>(0xE0U | (code >> 12U));
        tail(6);
        tail(0);
    } else {
        text += static_cast<char>(0xF0U | (code >> 18U));
        tail(12);
        tail(6);
        tail(0);
    }
}

void append_text(std::string& text, const VTermScreenCell& cell) {
    if (cell.chars[0] == kRightHalf) {
        return;
    }
    if (cell.chars[0] == 0) {
        text += ' ';
        return;
    }
    for (int i = 0; i < VTERM_MAX_CHARS_PER_CELL && cell.chars[i] != 0; i++) {
        append_utf8(text, cell.chars[i]);
    }
}

int color_number(const VTermColor& color) {
    if (VTERM_COLOR_IS_DEFAULT_FG(&color) || VTERM_COLOR_IS_DEFAULT_BG(&color)) {
        return kDefaultColor;
    }
    if (VTERM_COLOR_IS_INDEXED(&color)) {
        return color.indexed.idx;
    }
    return kDirectColor | color.rgb.red << 16 | color.rgb.green << 8 | color.rgb.blue;
}

} // namespace

std::string Snapshot::text() const {
    std::string result;
    for (int row = 0; row < rows; row++) {
        std::string line;
        for (int column = 0; column < columns; column++) {
            line += at(row, column).text;
        }
        result += cut_blanks(std::move(line)) + '\n';
    }
    return result;
}

std::ostream& operator<<(std::ostream& out, const Cell& cell) {
    return out << '\'' << cell.text << "' " << cell.foreground << " on " << cell.background
               << (cell.bold ? " bold" : "") << (cell.underline ? " underline" : "")
               << (cell.blink ? " blink" : "") << (cell.reverse ? " reverse" : "");
}

std::ostream& operator<<(std::ostream& out, const Cursor& cursor) {
    return out << "row " << cursor.row << " column " << cursor.column
               << (cursor.visible ? "" : " invisible");
}

std::ostream& operator<<(std::ostream& out, const Snapshot& snapshot) {
    return out << '\n' << snapshot.text();
}

struct TerminalScreen::Vterm {
    Vterm(int rows, int columns) : terminal(vterm_new(rows, columns)) {
        static const VTermScreenCallbacks kCallbacks = [] {
            VTermScreenCallbacks callbacks{};
            callbacks.settermprop = set_property;
            return callbacks;
        }();
        vterm_set_utf8(terminal, 1);
        vterm_output_set_callback(terminal, answer, this);
        screen = vterm_obtain_screen(terminal);
        vterm_screen_set_callbacks(screen, &kCallbacks, this);
        vterm_screen_enable_altscreen(screen, 1);
        vterm_screen_reset(screen, 1);
    }

    Vterm(const Vterm&) = delete;
    Vterm& operator=(const Vterm&) = delete;

    ~Vterm() {
        vterm_free(terminal);
    }

    static int set_property(VTermProp property, VTermValue* value, void* user) {
        auto* self = static_cast<Vterm*>(user);
        if (property == VTERM_PROP_CURSORVISIBLE) {
            self->cursorVisible = value->boolean != 0;
        } else if (property == VTERM_PROP_ALTSCREEN) {
            self->alternate = value->boolean != 0;
        }
        return 1;
    }

    static void answer(const char* bytes, size_t length, void* user) {
        const auto* self = static_cast<const Vterm*>(user);
        if (self->takeAnswer) {
            self->takeAnswer({bytes, length});
        }
    }

    VTerm* terminal;
    VTermScreen* screen = nullptr;
    bool cursorVisible = true;
    bool alternate = false;
    std::function<void(std::string_view)> takeAnswer;
};

TerminalScreen::TerminalScreen(int rows, int columns)
    : vterm_(std::make_unique<Vterm>(rows, columns)) {}

TerminalScreen::~TerminalScreen() = default;

void TerminalScreen::feed(std::string_view bytes) {
    if (columns() > 1) {
        vterm_input_write(vterm_->terminal, bytes.data(), bytes.size());
        return;
    }
    // libvterm writes the second half of a wide character after its only column, at no address.
    std::string ascii;
    std::copy_if(bytes.begin(), bytes.end(), std::back_inserter(ascii),
                 [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    vterm_input_write(vterm_->terminal, ascii.data(), ascii.size());
}

void TerminalScreen::on_answer(std::function<void(std::string_view)> take) {
    vterm_->takeAnswer = std::move(take);
}

void TerminalScreen::resize(int rows, int columns) {
    vterm_set_size(vterm_->terminal, rows, columns);
}

int TerminalScreen::rows() const {
    int rows = 0;
    int columns = 0;
    vterm_get_size(vterm_->terminal, &rows, &columns);
    return rows;
}

int TerminalScreen::columns() const {
    int rows = 0;
    int columns = 0;
    vterm_get_size(vterm_->terminal, &rows, &columns);
    return columns;
}

Cell TerminalScreen::cell(int row, int column) const {
    VTermScreenCell raw{};
    if (row < 0 || column < 0 || row >= rows() || column >= columns() ||
        vterm_screen_get_cell(vterm_->screen, VTermPos{row, column}, &raw) == 0) {
        return {};
    }
    Cell cell;
    cell.text.clear();
    append_text(cell.text, raw);
    cell.foreground = color_number(raw.fg);
    cell.background = color_number(raw.bg);
    cell.bold = raw.attrs.bold != 0;
    cell.underline = raw.attrs.underline != 0;
    cell.blink = raw.attrs.blink != 0;
    cell.reverse = raw.attrs.reverse != 0;
    return cell;
}

std::string TerminalScreen::text_at(int row, int column, int count) const {
    const int width = columns();
    const int end = count > width - column ? width : column + count;
    std::string text;
    for (int i = column; i < end; i++) {
        VTermScreenCell raw{};
        vterm_screen_get_cell(vterm_->screen, VTermPos{row, i}, &raw);
        append_text(text, raw);
    }
    return text;
}

std::string TerminalScreen::row(int row) const {
    return cut_blanks(text_at(row, 0));
}

int TerminalScreen::find_row(std::string_view text, int from) const {
    for (int i = from; i < rows(); i++) {
        if (text_at(i, 0).find(text) != std::string::npos) {
            return i;
        }
    }
    return -1;
}

Snapshot TerminalScreen::snapshot() const {
    Snapshot snapshot{rows(), columns(), {}};
    snapshot.cells.reserve(static_cast<size_t>(snapshot.rows) *
                           static_cast<size_t>(snapshot.columns));
    for (int row = 0; row < snapshot.rows; row++) {
        for (int column = 0; column < snapshot.columns; column++) {
            snapshot.cells.push_back(cell(row, column));
        }
    }
    return snapshot;
}

std::string TerminalScreen::text() const {
    return snapshot().text();
}

Cursor TerminalScreen::cursor() const {
    VTermPos position{};
    vterm_state_get_cursorpos(vterm_obtain_state(vterm_->terminal), &position);
    return {position.row, position.col, vterm_->cursorVisible};
}

bool TerminalScreen::alternate_screen() const {
    return vterm_->alternate;
}

} // namespace zrp::harness
