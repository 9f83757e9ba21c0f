#include "screens/dialog.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "common/result.h"
#include "core/layout.h"
#include "core/line_editor.h"
#include "core/monitor.h"
#include "core/window.h"

namespace zrp {
namespace {

constexpr int kPromptColumn = 1;

// With an empty field after it, whatever was in this row before.
void show_prompt(WINDOW* window, const DialogPrompt& prompt) {
    const CursesLock lock;
    blank_row(window, prompt.row, kPromptColumn);
    const int room = inside_of(window).lastColumn - kPromptColumn + 1 - kMinFieldWidth;
    print_in(window, prompt.row, kPromptColumn, room, "%s", prompt.text);
    refresh_window(window);
}

} // namespace

DialogWindow::DialogWindow(const char* traceTag, int height)
    : window(create_newwin(height, COLS - kColumnsBesideWindow, kMainRow, kWindowColumn)) {
    if (window == nullptr) {
        trace("%s: create_newwin() failed err=%d\n", traceTag, errno);
        return;
    }
    refresh_window(window);
}

DialogWindow::~DialogWindow() {
    destroy_win(window);
}

void clear_dialog(WINDOW* window) {
    const CursesLock lock;
    werase(window);
    draw_frame(window);
    refresh_window(window);
}

int ask_user(WINDOW* window, const DialogPrompt& prompt, DialogInput& input, int* fkeyHit,
             int* fkey) {
    show_prompt(window, prompt);
    input[0] = '\0';
    const int rc = zrptop_wgetnstr(window, input, kDialogInputMax, fkeyHit, fkey);
    if (rc == kOk && *fkeyHit != 0) {
        trace("%s: fkey detected fkey=%d\n", prompt.traceTag, *fkey);
    }
    return rc;
}

bool is_quit(const char* input) {
    return input[0] == '\0' || input[0] == 'q' || input[0] == 'Q';
}

int typed_number(const char* input) {
    constexpr int kDecimal = 10;
    return static_cast<int>(
        std::clamp(strtol(input, nullptr, kDecimal), long{INT_MIN}, long{INT_MAX}));
}

} // namespace zrp
