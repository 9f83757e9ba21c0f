#include "tools/harness/terminal.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <system_error>
#include <thread>

#include "tools/harness/process_state.h"

namespace zrp::harness {
namespace {

// A process that the program has left behind may keep the terminal open.
constexpr milliseconds kLastOutputPatience{2000};

constexpr milliseconds kLook{20}; // between two checks of a condition while nothing is printed

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

winsize window_size(int rows, int columns) {
    winsize size{};
    size.ws_row = static_cast<unsigned short>(rows);
    size.ws_col = static_cast<unsigned short>(columns);
    return size;
}

Descriptor open_master(const TerminalOptions& options) {
    Descriptor master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK));
    const winsize size = window_size(options.rows, options.columns);
    if (!master || grantpt(master.get()) != 0 || unlockpt(master.get()) != 0 ||
        ioctl(master.get(), TIOCSWINSZ, &size) != 0) {
        fail("pseudo-terminal");
    }
    return master;
}

Descriptor open_slave(int master) {
    Descriptor slave(ioctl(master, TIOCGPTPEER, O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!slave) {
        fail("pseudo-terminal's other side");
    }
    return slave;
}

ChildProcess start(const TerminalOptions& options, int master) {
    // Closed on return: once only the program holds this side, its end is our end of file.
    const Descriptor slave = open_slave(master);
    ChildOptions child = options.child;
    child.terminal = slave.get();
    child.environment.insert(child.environment.begin(), {"LINES", "COLUMNS", "COLORTERM"});
    child.environment.push_back(options.term.empty() ? "TERM" : "TERM=" + options.term);
    return ChildProcess(child);
}

} // namespace

Terminal::Terminal(const TerminalOptions& options)
    : master_(open_master(options)), screen_(options.rows, options.columns),
      child_(start(options, master_.get())) {
    screen_.on_answer([this](std::string_view bytes) {
        [[maybe_unused]] const ssize_t sent = write(master_.get(), bytes.data(), bytes.size());
    });
}

void Terminal::type(std::string_view bytes) {
    const Deadline deadline(kPatience);
    while (!bytes.empty() && open_) {
        const ssize_t sent = write(master_.get(), bytes.data(), bytes.size());
        if (sent > 0) {
            bytes.remove_prefix(static_cast<size_t>(sent));
        } else if (errno != EAGAIN && errno != EINTR) {
            fail("typing");
        } else if (deadline.passed()) {
            throw std::system_error(ETIMEDOUT, std::generic_category(),
                                    "the program does not read its keys");
        } else {
            poll_output(5); // a program blocked on its output does not read either
        }
    }
}

void Terminal::read_output() {
    std::array<char, 16384> block{};
    while (open_) {
        const ssize_t got = read(master_.get(), block.data(), block.size());
        if (got > 0) {
            const std::string_view bytes(block.data(), static_cast<size_t>(got));
            raw_ += bytes;
            screen_.feed(bytes);
        } else if (got < 0 && errno == EINTR) {
            continue;
        } else if (got < 0 && errno == EAGAIN) {
            return;
        } else {
            open_ = false; // EIO: no process has the other side open any more
        }
    }
}

// Reads what is there, or the first output within the timeout.
void Terminal::poll_output(int timeout) {
    if (!open_) {
        std::this_thread::sleep_for(milliseconds{timeout});
        return;
    }
    pollfd readable{master_.get(), POLLIN, 0};
    if (poll(&readable, 1, timeout) > 0) {
        read_output();
    }
}

bool Terminal::wait_until(const std::function<bool()>& condition, milliseconds patience) {
    const Deadline deadline(patience);
    poll_output(0);
    while (!condition()) {
        if (deadline.passed()) {
            return false;
        }
        poll_output(deadline.poll_timeout(kLook));
    }
    return true;
}

bool Terminal::wait_for_text(int row, int column, std::string_view text, milliseconds patience) {
    // Compared up to the end of the row, since a character may take several bytes or cells.
    const auto shown = [&] { return screen_.text_at(row, column).starts_with(text); };
    return wait_until([&] { return shown() || !open_; }, patience) && shown();
}

bool Terminal::wait_for(std::string_view text, milliseconds patience) {
    const auto shown = [&] { return screen_.find_row(text) >= 0; };
    return wait_until([&] { return shown() || !open_; }, patience) && shown();
}

bool Terminal::wait_for_output(milliseconds patience) {
    const size_t printed = raw_.size();
    return wait_until([&] { return raw_.size() > printed; }, patience);
}

bool Terminal::wait_for_rest(milliseconds patience) {
    constexpr int kReadOnly = 5;
    size_t printed = raw_.size();
    int looks = 0;
    return wait_until(
        [&] {
            const bool rests = raw_.size() == printed && all_but_the_caller_sleep();
            looks = rests ? looks + 1 : 0;
            printed = raw_.size();
            return looks > kReadOnly; // the first look comes without a wait
        },
        patience);
}

termios Terminal::modes() const {
    termios modes{};
    if (tcgetattr(master_.get(), &modes) != 0) { // the master answers for its slave
        fail("tcgetattr");
    }
    return modes;
}

void Terminal::hang_up() {
    open_ = false;
    master_.reset();
}

void Terminal::resize(int rows, int columns) {
    const winsize size = window_size(rows, columns);
    if (ioctl(master_.get(), TIOCSWINSZ, &size) != 0) {
        fail("resizing");
    }
    screen_.resize(rows, columns);
}

std::optional<ExitStatus> Terminal::wait_for_exit(milliseconds patience) {
    std::optional<ExitStatus> status;
    wait_until(
        [&] {
            status = child_.wait(milliseconds{0});
            return status.has_value();
        },
        patience);
    if (status) {
        // The kernel hands over what the program printed last a moment after its end.
        wait_until([this] { return !open_; }, kLastOutputPatience);
    }
    return status;
}

} // namespace zrp::harness
