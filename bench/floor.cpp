// floor PLAN: the least that a program does which shows what the monitor shows. Once a second it
// makes the plan's exchanges through plain system calls, looks whether its files are there, writes
// the plan's values into their windows and updates the terminal once. It neither reads replies nor
// watches for anything but the time and a key, and it has one thread and no C++ library.
#include <clocale>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <ncurses.h>

#include "bench/floor_plan.h"
#include "bench/plain_calls.h"
#include "common/transport.h"

namespace {

using namespace zrp::bench;

constexpr short kBoxedPair = 3;
constexpr short kMenuPair = 5;

Plan plan;
WINDOW* windows[sizeof plan.windows / sizeof *plan.windows];

void exchange(const PlanRequest& request) {
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    const socklen_t length = set_address(&address, request.socket);
    const int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const zrp::RequestHeader header = {zrp::kMagic, request.number, request.length};
    zrp::ReplyHeader reply = {};
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), length) == 0 &&
        send(fd, &header, sizeof header, 0) >= 0 &&
        send(fd, request.text, request.length, 0) >= 0 &&
        recv(fd, &reply, sizeof reply, 0) == sizeof reply) {
        char* text = static_cast<char*>(malloc(reply.length));
        read_all(fd, text, reply.length);
        free(text);
    }
    close(fd);
}

void look_at(const char* file) {
    struct stat status = {};
    stat(file, &status);
}

void write_texts(const PlanText* texts, int count) {
    for (const PlanText* text = texts; text < texts + count; text++) {
        mvwaddstr(windows[text->window], text->row, text->column, text->text);
    }
}

void update() {
    for (int i = 0; i < plan.windowCount; i++) {
        wnoutrefresh(windows[i]);
    }
    if (plan.cursorWindow >= 0) {
        wmove(windows[plan.cursorWindow], plan.cursorRow, plan.cursorColumn);
        wnoutrefresh(windows[plan.cursorWindow]);
    }
    doupdate();
}

void open_windows() {
    setlocale(LC_CTYPE, "");
    initscr();
    cbreak();
    noecho();
    typeahead(-1);
    curs_set(plan.cursorWindow >= 0 ? 1 : 0);
    start_color();
    init_pair(kBoxedPair, COLOR_WHITE, COLOR_BLUE);
    init_pair(kMenuPair, COLOR_CYAN, COLOR_BLACK);
    windows[0] = stdscr;
    wattr_on(stdscr, COLOR_PAIR(kMenuPair), nullptr);
    for (int i = 1; i < plan.windowCount; i++) {
        windows[i] = newwin(plan.windows[i].height, COLS - 2, plan.windows[i].row, 1);
        wbkgd(windows[i], COLOR_PAIR(kBoxedPair));
        box(windows[i], 0, 0);
    }
    for (int i = 0; i < plan.windowCount; i++) {
        leaveok(windows[i], i != plan.cursorWindow);
    }
    keypad(stdscr, TRUE);
    timeout(kPeriodMs);
}

} // namespace

int main(int argc, char** argv) {
    const int file = argc == 2 ? open(argv[1], O_RDONLY | O_CLOEXEC) : -1;
    if (file < 0 || read(file, &plan, sizeof plan) != sizeof plan) {
        return EXIT_FAILURE;
    }
    close(file);
    open_windows();
    write_texts(plan.labels, plan.labelCount);
    int step = 1;
    int at = 0;
    do {
        for (int i = 0; i < plan.requestCount; i++) {
            exchange(plan.requests[i]);
        }
        for (int i = 0; i < plan.fileCount; i++) {
            look_at(plan.files[i]);
        }
        write_texts(plan.values[at], plan.valueCount[at]);
        update();
        // Back and forth: each pass changes as much as one of the monitor's did.
        step = at + step < 0 || at + step >= plan.screenCount ? -step : step;
        at += step;
    } while (getch() == ERR);
    endwin();
    return EXIT_SUCCESS;
}
