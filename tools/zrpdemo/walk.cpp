#include "tools/zrpdemo/walk.h"

#include <stdexcept>

namespace zrp::demo {
namespace {

using harness::Key;
using harness::key_bytes;
using harness::Terminal;
using harness::TerminalScreen;

constexpr int kStripRow = 3; // the up-time strip: its label and the value after it
constexpr int kStripColumn = 2;
constexpr std::string_view kStripLabel = "Server Up Time:";

constexpr int kMainRow = 5; // where the main window and the dialogs begin
constexpr harness::milliseconds kScenePatience{30000};

// Volume 0 is mounted in every world, whatever its size.
const Scene kScenes[] = {
    {"general", "General", "", ": "},
    {"volume-dialog", "Volume dialog", key_bytes(Key::kF3), "Enter volume number ["},
    {"volume", "Volume", "0\r", "Volume:"},
    {"connection-dialog", "Connection dialog", key_bytes(Key::kF4), "Enter connection number ["},
    {"connection", "Connection", "3\r", "Connection:"},
    {"diagnostics-dialog", "Diagnostics dialog", key_bytes(Key::kF5), "Enter selection ?"},
    {"diagnostics", "Diagnostics", "3\r", "ZRP Server IPC/RPC"},
    {"parameters", "Parameters", key_bytes(Key::kF6), " = "},
    {"version", "Version", key_bytes(Key::kF7), "ZRP Server Components"},
};

bool shows_up_time(const TerminalScreen& screen) {
    const std::string strip = screen.text_at(kStripRow, kStripColumn);
    return strip.starts_with(kStripLabel) && strip.find_first_of("0123456789") != std::string::npos;
}

[[noreturn]] void fail(Terminal& terminal, const std::string& what) {
    // The monitor may close its terminal a moment before it ends.
    const auto ended = terminal.child().wait(harness::milliseconds{500});
    throw std::runtime_error(what + (ended ? " (it ended with " + ended->text() + ")" : "") +
                             "; its screen:\n" + terminal.text());
}

bool shows(const Scene& scene, const TerminalScreen& screen) {
    return shows_up_time(screen) && screen.find_row(scene.text, kMainRow) >= 0;
}

// A pass that draws a screen for the first time shows its labels before it asks for the values.
void go_to(const Scene& scene, Terminal& terminal) {
    terminal.type(scene.keys);
    terminal.wait_until([&] { return shows(scene, terminal.screen()) || !terminal.is_open(); },
                        kScenePatience);
    if (!terminal.wait_for_rest() || !shows(scene, terminal.screen())) {
        fail(terminal, std::string("the scene \"") + scene.caption + "\" did not come up");
    }
}

} // namespace

harness::TerminalOptions walk_terminal(const std::string& monitor) {
    harness::TerminalOptions options;
    options.child.arguments = {monitor};
    options.child.environment = {"LANG=C.UTF-8", "LC_ALL", "LC_CTYPE"};
    return options;
}

harness::ExitStatus run_walk(const harness::TerminalOptions& monitor, const ShowScene& show) {
    Terminal terminal(monitor);
    for (const Scene& scene : kScenes) {
        go_to(scene, terminal);
        show(scene, terminal.screen().snapshot());
    }
    terminal.press(Key::kF12);
    const auto status = terminal.wait_for_exit();
    if (!status) {
        fail(terminal, "the monitor did not end");
    }
    return *status;
}

} // namespace zrp::demo
