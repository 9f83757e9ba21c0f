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

// Every pass of the refresh thread begins in the strip and leaves the cursor there until it draws
// elsewhere. Once the scene's text is on the screen, a cursor in the strip therefore means that the
// pass that drew the text is over. The text of a dialog is its prompt, which is drawn last.
bool is_complete(const Scene& scene, const TerminalScreen& screen) {
    return screen.cursor().row == kStripRow && shows_up_time(screen) &&
           screen.find_row(scene.text, kMainRow) >= 0;
}

// Looks at the screen after every byte of the monitor's output: the cursor may be in the strip so
// briefly that its arrival and departure are read at once.
class SceneWatcher {
public:
    explicit SceneWatcher(const Terminal& terminal)
        : terminal_(terminal), screen_(terminal.screen().rows(), terminal.screen().columns()) {}

    // Feeds the output since the last call, up to the first byte that completes the scene.
    bool sees(const Scene& scene) {
        const std::string_view output = terminal_.raw_output();
        while (seen_ < output.size()) {
            screen_.feed(output.substr(seen_++, 1));
            if (is_complete(scene, screen_)) {
                return true;
            }
        }
        return false;
    }

private:
    const Terminal& terminal_;
    TerminalScreen screen_;
    size_t seen_ = 0;
};

[[noreturn]] void fail(Terminal& terminal, const std::string& what) {
    // The monitor may close its terminal a moment before it ends.
    const auto ended = terminal.child().wait(harness::milliseconds{500});
    throw std::runtime_error(what + (ended ? " (it ended with " + ended->text() + ")" : "") +
                             "; its screen:\n" + terminal.text());
}

void go_to(const Scene& scene, Terminal& terminal, SceneWatcher& watcher) {
    terminal.type(scene.keys);
    bool isComplete = false;
    const auto look = [&] {
        isComplete = watcher.sees(scene);
        return isComplete || !terminal.is_open();
    };
    terminal.wait_until(look, kScenePatience);
    if (!isComplete) {
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
    SceneWatcher watcher(terminal);
    for (const Scene& scene : kScenes) {
        go_to(scene, terminal, watcher);
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
