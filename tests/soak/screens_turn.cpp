#include <algorithm>
#include <csignal>
#include <fstream>
#include <unistd.h>

#include "tests/soak/monitor.h"
#include "tools/harness/deadline.h"
#include "tools/harness/process_state.h"

namespace zrp::soak {
namespace {

using harness::Key;
using harness::Terminal;

constexpr int kMostInterval = 60;
constexpr size_t kMostKilobytes = 32 * 1024;

struct Screen {
    const char* name;
    Key key;
    const char* choice; // typed into its dialog
    const char* shown;  // among what the simulated server gives it
};

constexpr Screen kScreens[] = {
    {"Volume", Key::kF3, "0\r", "n/a"},
    {"Connection", Key::kF4, "2\r", "10.1.0.3"},
    {"Diagnostics", Key::kF5, "3\r", "ipcListener errors:"},
    {"Parameters", Key::kF6, "", "LOG_CACHE_STATISTICS = 0"},
    {"Version", Key::kF7, "", "ZRP Server Components"},
    {"General", Key::kF2, "", "packetsAccepted"},
};

// Those that do not end the program.
constexpr Key kKeys[] = {
    Key::kF2,    Key::kF3,       Key::kF4,  Key::kF5,     Key::kF6,     Key::kF7,   Key::kF8,
    Key::kTab,   Key::kShiftTab, Key::kUp,  Key::kDown,   Key::kRight,  Key::kLeft, Key::kHome,
    Key::kEnter, Key::kEscape,   Key::kEnd, Key::kPageUp, Key::kDelete, Key::kTab,  Key::kBackspace,
};
constexpr const char* kTexts[] = {"0", "1", "2", "17", "999999999999",
                                  "-", "+", "x", "q",  "\xc3\xa4"};

struct Play {
    Turn& turn;
    Server server;
    int rows;
    int columns;
    Terminal terminal;

    explicit Play(Turn& played)
        : turn(played), server(played), rows(played.between(25, 40)),
          columns(played.between(80, 120)), terminal(monitor(rows, columns)) {}

    [[nodiscard]] pid_t pid() {
        return terminal.child().pid();
    }
};

void press_key(Play& play) {
    const Key key = play.turn.pick(kKeys);
    play.turn.note("key " + std::to_string(static_cast<int>(key)));
    play.terminal.press(key);
}

void type_text(Play& play) {
    const std::string text = play.turn.pick(kTexts);
    play.turn.note("types " + text);
    play.terminal.type(text);
}

void resize(Play& play) {
    const int rows = play.turn.between(1, 50);
    const int columns = play.turn.between(1, 130);
    play.turn.note("size " + std::to_string(rows) + "x" + std::to_string(columns));
    play.terminal.resize(rows, columns);
}

void suspend(Play& play) {
    play.turn.note("monitor stopped for a while");
    play.terminal.child().send_signal(SIGSTOP);
    idle(play.turn, play.terminal, 200);
    play.terminal.child().send_signal(SIGCONT);
}

void rest_a_while(Play& play) {
    idle(play.turn, play.terminal, 400);
}

struct Action {
    int weight;
    void (*run)(Play& play);
};

constexpr Action kActions[] = {
    {30, press_key},
    {10, type_text},
    {30, rest_a_while},
    {4, resize},
    {4, suspend},
    {12, [](Play& play) { play.server.damage(); }},
    {6, [](Play& play) { play.server.heal(); }},
    {2, [](Play& play) { play.server.kill(); }},
    {2, [](Play& play) { play.server.stop(); }},
    {4, [](Play& play) { play.server.proceed(); }},
};

void act(Play& play) {
    int sum = 0;
    for (const Action& action : kActions) {
        sum += action.weight;
    }
    int drawn = play.turn.between(0, sum - 1);
    for (const Action& action : kActions) {
        drawn -= action.weight;
        if (drawn < 0) {
            action.run(play);
            return;
        }
    }
}

size_t count_descriptors(pid_t process) {
    size_t count = 0;
    for (int fd = 0; fd < 256; fd++) {
        const std::string path = "/proc/" + std::to_string(process) + "/fd/" + std::to_string(fd);
        char target[2];
        count += readlink(path.c_str(), target, sizeof target) > 0 ? 1U : 0U;
    }
    return count;
}

size_t resident_kilobytes(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string word; status >> word;) {
        if (word == "VmRSS:") {
            size_t kilobytes = 0;
            status >> kilobytes;
            return kilobytes;
        }
    }
    return 0;
}

// A sanitizer keeps what is freed for a while.
constexpr bool kSanitized =
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    true;
#elif defined(__has_feature)
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
    false;
#endif

void show(Terminal& terminal, const Screen& screen) {
    terminal.press(screen.key);
    terminal.type(screen.choice);
}

// Lets both monitors, which get the same replies, go on until they show the same. The soaked one
// has two passes for it. A pass on the General screen asks twice for the statistics, and further
// requests belong to the pass under way.
void expect_same(Play& play, Terminal& fresh, const Screen& screen) {
    constexpr size_t kRequestsOfTwoPasses = 2 * 2 * 2 + 4;
    const auto asked = [&] { return play.server.logged("serverStatistics"); };
    const size_t before = asked();
    const harness::Deadline deadline(harness::kPatience);
    for (;;) {
        const bool over = asked() > before + kRequestsOfTwoPasses || deadline.passed();
        const bool still = fresh.wait_for_rest() && play.terminal.wait_for_rest();
        const auto expected = fresh.screen().snapshot();
        const auto shown = play.terminal.screen().snapshot();
        if (still && expected == shown && fresh.screen().find_row(screen.shown) != -1) {
            return;
        }
        require(!over, std::string(screen.name) + " shows\n" + shown.text() + "instead of\n" +
                           expected.text());
    }
}

void expect_recovery(Play& play) {
    play.terminal.resize(play.rows, play.columns);
    play.server.heal();
    play.turn.note("healed");
    require(play.terminal.wait_for_rest(), "no rest after the faults");
    show(play.terminal, kScreens[std::size(kScreens) - 1]); // leaves a dialog
    play.terminal.type(std::string(kMostInterval, '-'));

    Terminal fresh(monitor(play.rows, play.columns));
    wait_for_windows(fresh);
    for (const Screen& screen : kScreens) {
        show(fresh, screen);
        show(play.terminal, screen);
        expect_same(play, fresh, screen);
        require(has_windows(play.terminal), "the windows are damaged:\n" + play.terminal.text());
    }
    fresh.press(Key::kF12);
    expect_end(fresh);
}

void expect_flat(Play& play, size_t descriptors) {
    require(play.terminal.wait_until([&] { return count_descriptors(play.pid()) == descriptors; }),
            "descriptors: " + std::to_string(descriptors) + " at first, then " +
                std::to_string(count_descriptors(play.pid())));
    const size_t kilobytes = resident_kilobytes(play.pid());
    require(kSanitized || kilobytes < kMostKilobytes,
            "memory: " + std::to_string(kilobytes) + " kB");
}

void end_somehow(Play& play) {
    switch (play.turn.below(4)) {
    case 0:
        play.server.stop();
        break;
    case 1:
        play.server.damage();
        break;
    default:
        break;
    }
    idle(play.turn, play.terminal, 1000);
    const size_t way = play.turn.below(std::size(kEndingSignals) + 3);
    play.turn.note("end " + std::to_string(way));
    if (way < std::size(kEndingSignals)) {
        play.terminal.child().send_signal(kEndingSignals[way]);
    } else if (way == std::size(kEndingSignals)) {
        play.terminal.hang_up();
        expect_status_of_success(play.terminal);
        return;
    } else {
        play.terminal.press(play.turn.below(2) == 0 ? Key::kF12 : Key::kF1);
    }
    expect_end(play.terminal);
}

} // namespace

void soak_screens(Turn& turn) {
    Play play(turn);
    wait_for_windows(play.terminal);
    require(play.terminal.wait_for_rest(), "no rest after the start");
    const size_t descriptors = count_descriptors(play.pid());
    for (int left = turn.between(20, 60); left > 0; left--) {
        act(play);
        require(play.terminal.is_open(), "ended by itself:\n" + play.terminal.raw_output());
    }
    expect_recovery(play);
    expect_flat(play, descriptors);
    end_somehow(play);
}

} // namespace zrp::soak
