#include "tools/zrpdemo/walk.h"

#include <cstdio>
#include <stdexcept>

#include "tools/stage/terminal.h"

namespace zrp::demo {
namespace {

using stage::Eye;
using stage::Key;
using stage::Terminal;

constexpr int kStripRow = 3; // the up-time strip: its label, and the value behind it
constexpr int kStripColumn = 2;
constexpr std::string_view kStripLabel = "Server Up Time:";

constexpr int kFirstMainRow = 6; // inside the frame of the main window
constexpr int kPasses = 2;       // changes of the up time before a scene counts as settled
constexpr stage::milliseconds kScenePatience{30000};

struct Scene {
    const char* caption;
    std::string_view keys; // that lead here from the scene before
    bool (*isShown)(const Eye& eye);
};

// The list of statistics: a name, a colon, a value.
bool shows_general(const Eye& eye) {
    return eye.text_at(kFirstMainRow, 0).find(": ") != std::string::npos;
}

constexpr Scene kScenes[] = {
    {"General", "", shows_general},
};

// The up time's text, or nothing while there is none.
std::string up_time(const Eye& eye) {
    const std::string strip = eye.text_at(kStripRow, kStripColumn);
    if (!strip.starts_with(kStripLabel)) {
        return "";
    }
    const std::string value = strip.substr(kStripLabel.size());
    const size_t first = value.find_first_of("0123456789");
    return first == std::string::npos ? "" : value.substr(first);
}

// True once the scene is shown and the up time has moved on a few times since.
bool settles(Terminal& terminal, const Scene& scene) {
    std::string last;
    int changes = 0;
    const auto hasSettled = [&] {
        const std::string now = up_time(terminal.eye());
        if (!now.empty() && scene.isShown(terminal.eye())) {
            changes += !last.empty() && now != last ? 1 : 0;
            last = now;
        }
        return changes >= kPasses;
    };
    terminal.wait_until([&] { return hasSettled() || !terminal.is_open(); }, kScenePatience);
    return changes >= kPasses;
}

[[noreturn]] void fail(Terminal& terminal, const std::string& what) {
    // It may have closed its terminal a moment before its end.
    const auto ended = terminal.child().wait(stage::milliseconds{500});
    throw std::runtime_error(what + (ended ? " (it ended with " + ended->text() + ")" : "") +
                             "; its screen:\n" + terminal.text());
}

void show(const Scene& scene, const Terminal& terminal) {
    const Eye& eye = terminal.eye();
    std::printf("--- %s (%dx%d)\n%s", scene.caption, eye.columns(), eye.rows(), eye.text().c_str());
}

} // namespace

stage::ExitStatus run_walk(const std::string& monitor, const Size& size) {
    Terminal terminal(
        {.rows = size.lines, .columns = size.columns, .child = {.arguments = {monitor}}});
    for (const Scene& scene : kScenes) {
        terminal.type(scene.keys);
        if (!settles(terminal, scene)) {
            fail(terminal, std::string("the ") + scene.caption + " screen did not come up");
        }
        show(scene, terminal);
    }
    terminal.press(Key::kF12);
    const auto status = terminal.wait_for_exit();
    if (!status) {
        fail(terminal, "the monitor did not end");
    }
    return *status;
}

} // namespace zrp::demo
