// IPCServInterrupt at every step at which an exchange can wait.
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <future>
#include <pthread.h>
#include <string>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "common/exchange_limits.h"
#include "common/heap_text.h"
#include "common/result.h"
#include "common/transport.h"
#include "tests/support/needs.h"
#include "tests/support/processor_time.h"
#include "tests/support/scripted_peer.h"
#include "tests/unit/full_peer.h"

namespace zrp::transport_interrupt_test {
namespace {

using namespace std::chrono_literals;

int ask(const std::string& text = "<request/>") {
    uint64_t length = 0;
    char* reply = nullptr;
    const int rc = IPCServRequestEx(kMainDaemonSocket, kMainDaemonRequest, text.size(), text.data(),
                                    &length, &reply);
    const HeapText owned(reply);
    EXPECT_TRUE(rc == kOk || reply == nullptr);
    return rc;
}

class Interrupt : public testing::Test {
protected:
    Interrupt() {
        IPCServInit(kMainDaemonSocket);
    }

    ~Interrupt() override {
        IPCServInit("reset");
        IPCServTerm();
    }

    // Interrupts an exchange once it waits.
    static void expect_interrupted(const std::string& text = "<request/>") {
        auto exchange = std::async(std::launch::async, ask, text);
        EXPECT_EQ(exchange.wait_for(150ms), std::future_status::timeout);
        IPCServInterrupt();
        ASSERT_EQ(exchange.wait_for(5s), std::future_status::ready);
        EXPECT_EQ(exchange.get(), ECANCELED);
    }
};

TEST_F(Interrupt, EndsAConnectToAFullBacklog) {
    const FullPeer peer;
    ASSERT_TRUE(peer.full());
    expect_interrupted();
}

TEST_F(Interrupt, EndsASendThatThePeerDoesNotRead) {
    const ScriptedPeer peer(kMainDaemonSocket, {{hang()}});
    expect_interrupted(std::string(10'000'000, 'r'));
}

TEST_F(Interrupt, EndsTheWaitForAHeader) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    expect_interrupted();
}

TEST_F(Interrupt, EndsTheWaitForABody) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), send_bytes(reply_header(10)), hang()}});
    expect_interrupted();
}

TEST_F(Interrupt, EndsTheWaitForTheRestOfABody) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), send_bytes(reply_header(10) + "abc"), hang()}});
    expect_interrupted();
}

TEST_F(Interrupt, EndsAnExchangeWithATimeout) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    auto exchange = std::async(std::launch::async, [] {
        uint64_t length = 0;
        char* reply = nullptr;
        return IPCServRequestTimeout(kMainDaemonSocket, 0, 1, "x", &length, &reply, 60'000);
    });
    EXPECT_EQ(exchange.wait_for(150ms), std::future_status::timeout);
    IPCServInterrupt();
    ASSERT_EQ(exchange.wait_for(5s), std::future_status::ready);
    EXPECT_EQ(exchange.get(), ECANCELED);
}

// How often this thread has waited.
long waits() {
    rusage usage = {};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
}

TEST_F(Interrupt, IsNotLookedForOftenInAWaitThatLasts) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    const ExchangeLimitsGuard limits({.exchangeMs = 1500});
    const long before = waits();
    EXPECT_EQ(ask(), ETIMEDOUT);
    EXPECT_LT(waits() - before, 10) << "a look every 50 ms is 30";
}

TEST_F(Interrupt, IsNotLookedForAtEachByteOfABodyThatDrips) {
    PeerScript script = {read_request(), send_bytes(reply_header(5000))};
    for (const PeerStep& step : send_in_pieces(std::string(1000, 'd'), 1)) {
        script.push_back(step);
    }
    script.push_back(hang());
    const ScriptedPeer peer(kMainDaemonSocket, {script});
    for (const bool wholeReply : {false, true}) {
        const ExchangeLimitsGuard limits({.exchangeMs = 1500, .wholeReply = wholeReply});
        const long before = waits();
        EXPECT_EQ(ask(), ETIMEDOUT);
        EXPECT_LT(waits() - before, 250) << "a wait for each byte is some 600";
    }
}

// Interrupts exchanges that have waited for a while until one ends at once: the machine may be
// busy.
bool ends_at_once() {
    bool atOnce = false;
    for (int i = 0; i < 5 && !atOnce; i++) {
        IPCServInit(kMainDaemonSocket);
        auto exchange = std::async(std::launch::async, ask, "<request/>");
        EXPECT_EQ(exchange.wait_for(150ms), std::future_status::timeout);
        IPCServInterrupt();
        atOnce = exchange.wait_for(300ms) == std::future_status::ready;
        EXPECT_EQ(exchange.get(), ECANCELED);
    }
    return atOnce;
}

TEST_F(Interrupt, WakesAWaitThatLasts) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    EXPECT_TRUE(ends_at_once());
}

// The descriptors of the timers of this process.
std::vector<int> timers() {
    std::vector<int> descriptors;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        if (std::filesystem::read_symlink(entry, error) == "anon_inode:[timerfd]") {
            descriptors.push_back(std::stoi(entry.path().filename()));
        }
    }
    return descriptors;
}

// Puts a file in the place of each timer of this process.
void replace_timers(int file) {
    for (const int timer : timers()) {
        dup2(file, timer);
    }
}

TEST_F(Interrupt, LeavesAFileThatHasTheNumberOfItsDescriptorAlone) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    const int file = memfd_create("file", MFD_CLOEXEC);
    auto exchange = std::async(std::launch::async, ask, "<request/>");
    EXPECT_EQ(exchange.wait_for(300ms), std::future_status::timeout);
    replace_timers(file);
    errno = EDOM; // setting another file as a timer fails
    IPCServInterrupt();
    EXPECT_EQ(errno, EDOM);
    ASSERT_EQ(exchange.wait_for(5s), std::future_status::ready);
    EXPECT_EQ(exchange.get(), ECANCELED);
    struct stat state = {};
    EXPECT_EQ(fstat(file, &state), 0);
    EXPECT_EQ(state.st_size, 0);
    close(file);
}

TEST_F(Interrupt, DoesNotKeepAWaitBusyWhoseDescriptorIsAnotherFileNow) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    const int file = memfd_create("file", MFD_CLOEXEC); // always readable
    auto exchange = std::async(std::launch::async, [] {
        const auto before = processor_time();
        EXPECT_EQ(ask(), ECANCELED);
        return processor_time() - before;
    });
    EXPECT_EQ(exchange.wait_for(300ms), std::future_status::timeout);
    replace_timers(file);
    EXPECT_EQ(exchange.wait_for(1s), std::future_status::timeout);
    IPCServInterrupt();
    EXPECT_LT(exchange.get(), 20ms);
    close(file);
}

TEST_F(Interrupt, IsAwaitedAsleepInAConnectToAFullBacklog) {
    const FullPeer peer;
    ASSERT_TRUE(peer.full());
    const ExchangeLimitsGuard limits({.exchangeMs = 500});
    const auto before = processor_time();
    EXPECT_EQ(ask(), ETIMEDOUT);
    EXPECT_LT(processor_time() - before, 50ms);
}

TEST_F(Interrupt, EndsEveryExchangeInFlight) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()},
                                          {read_request(), send_bytes(reply_header(9)), hang()}});
    std::vector<std::future<int>> exchanges;
    for (int i = 0; i < 6; i++) {
        exchanges.push_back(std::async(std::launch::async, ask, "<request/>"));
    }
    ASSERT_TRUE(peer.wait_for_connections(exchanges.size()));
    IPCServInterrupt();
    for (auto& exchange : exchanges) {
        ASSERT_EQ(exchange.wait_for(5s), std::future_status::ready);
        EXPECT_EQ(exchange.get(), ECANCELED);
    }
}

TEST_F(Interrupt, LaterExchangesFailUntilTheNextInit) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("x"))}});
    EXPECT_EQ(ask(), kOk);
    IPCServInterrupt();
    EXPECT_EQ(ask(), ECANCELED);
    IPCServInterrupt();
    EXPECT_EQ(ask(), ECANCELED);
    ASSERT_EQ(IPCServInit(kMainDaemonSocket), kOk);
    EXPECT_EQ(ask(), kOk);
}

TEST_F(Interrupt, KeepsErrno) {
    errno = ERANGE;
    IPCServInterrupt();
    EXPECT_EQ(errno, ERANGE);
}

TEST_F(Interrupt, LetsTermReturn) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    auto exchange = std::async(std::launch::async, ask, "<request/>");
    ASSERT_TRUE(peer.wait_for_connections(1));
    IPCServInterrupt();
    IPCServTerm();
    EXPECT_EQ(exchange.get(), ECANCELED);
}

// Installs a handler for SIGUSR1 for its lifetime.
class Handler {
public:
    explicit Handler(void (*handler)(int)) {
        struct sigaction action = {};
        action.sa_handler = handler;
        sigaction(SIGUSR1, &action, &before_);
    }
    ~Handler() {
        sigaction(SIGUSR1, &before_, nullptr);
    }
    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;

private:
    struct sigaction before_ = {};
};

void expect_interrupted_by_signal(bool onTheSameThread) {
    const Handler handler([](int) { IPCServInterrupt(); });
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    std::promise<int> result;
    std::thread exchange([&] { result.set_value(ask()); });
    ASSERT_TRUE(peer.wait_for_connections(1));
    pthread_kill(onTheSameThread ? exchange.native_handle() : pthread_self(), SIGUSR1);
    auto rc = result.get_future();
    ASSERT_EQ(rc.wait_for(harness::kPatience), std::future_status::ready);
    EXPECT_EQ(rc.get(), ECANCELED);
    exchange.join();
}

TEST_F(Interrupt, MayBeCalledFromASignalHandlerOnTheSameThread) {
    expect_interrupted_by_signal(true);
}

TEST_F(Interrupt, MayBeCalledFromASignalHandlerOnAnotherThread) {
    expect_interrupted_by_signal(false);
}

TEST_F(Interrupt, ASignalWithoutAnInterruptDoesNotEndTheExchange) {
    const Handler handler([](int) {});
    ScriptedPeer peer(kMainDaemonSocket,
                      {{read_request(), pause_for(200ms), send_bytes(reply("x"))}});
    std::promise<int> result;
    std::thread exchange([&] { result.set_value(ask()); });
    ASSERT_TRUE(peer.wait_for_connections(1));
    for (int i = 0; i < 20; i++) {
        pthread_kill(exchange.native_handle(), SIGUSR1);
        std::this_thread::yield();
    }
    EXPECT_EQ(result.get_future().get(), kOk);
    exchange.join();
}

TEST_F(Interrupt, ASignalDuringConnectIsNotAFailure) {
    const Handler handler([](int) {});
    FullPeer peer;
    ASSERT_TRUE(peer.full());
    std::promise<int> result;
    std::thread exchange([&] { result.set_value(ask()); });
    auto rc = result.get_future();
    EXPECT_EQ(rc.wait_for(150ms), std::future_status::timeout);
    pthread_kill(exchange.native_handle(), SIGUSR1);
    EXPECT_EQ(rc.wait_for(50ms), std::future_status::timeout);
    while (rc.wait_for(10ms) == std::future_status::timeout) {
        peer.accept_all();
    }
    EXPECT_EQ(rc.get(), kShortHeader);
    exchange.join();
}

// Ends with the status of a check that runs in a child.
void expect_in_child(const std::function<bool()>& check) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        _exit(check() ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(Interrupt, AProgramMayCloseAllItsDescriptors) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("x"))}});
    EXPECT_EQ(ask(), kOk);
    expect_in_child([] {
        closefrom(STDERR_FILENO + 1);
        const int file = memfd_create("file", MFD_CLOEXEC);
        while (dup(file) < 32) { // whatever number the library had, it is the file's now
        }
        const bool works = ask() == kOk;
        IPCServInterrupt();
        const bool isInterrupted = ask() == ECANCELED;
        IPCServInit(kMainDaemonSocket);
        struct stat state = {};
        return works && isInterrupted && ask() == kOk && fstat(file, &state) == 0 &&
               state.st_size == 0;
    });
}

TEST_F(Interrupt, NoDescriptorStaysOpenBetweenTwoExchanges) {
    const ScriptedPeer peer(kMainDaemonSocket,
                            {{read_request(), send_bytes(reply("x"))},
                             {read_request(), pause_for(150ms), send_bytes(reply("late"))}});
    expect_in_child([&] {
        closefrom(STDERR_FILENO + 1);
        const bool works = ask() == kOk && ask() == kOk;
        IPCServInterrupt();
        IPCServInit(kMainDaemonSocket);
        return works && open("/dev/null", O_RDONLY | O_CLOEXEC) == STDERR_FILENO + 1;
    });
}

// Whether a wait of this thread leaves it in peace.
bool sleeps_while_it_waits() {
    const ExchangeLimitsGuard limits({.exchangeMs = 1500});
    const long before = waits();
    return ask() == ETIMEDOUT && waits() - before < 10;
}

TEST_F(Interrupt, IsNotLookedForOftenWithoutStandardInputEither) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    expect_in_child([] {
        close(STDIN_FILENO); // whose number the wait's descriptor gets
        return sleeps_while_it_waits() && fcntl(STDIN_FILENO, F_GETFD) < 0;
    });
}

TEST_F(Interrupt, WakesAWaitWithoutStandardInputToo) {
    ZRP_NEEDS_NO_THREAD_SANITIZER("the child of a process with threads cannot start one");
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    expect_in_child([] {
        close(STDIN_FILENO);
        return ends_at_once();
    });
}

// The process cannot have more waits than these that sleep until an interrupt.
constexpr size_t kSleepers = 32;

TEST_F(Interrupt, TheWaitsOfTheParentTakeNothingFromTheChild) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    std::vector<std::future<int>> exchanges;
    for (size_t i = 0; i < kSleepers; i++) {
        exchanges.push_back(std::async(std::launch::async, ask, "<request/>"));
    }
    const harness::Deadline deadline{harness::kPatience};
    while (timers().size() < kSleepers && !deadline.passed()) {
        std::this_thread::yield();
    }
    expect_in_child(sleeps_while_it_waits);
    IPCServInterrupt();
    for (std::future<int>& exchange : exchanges) {
        EXPECT_EQ(exchange.get(), ECANCELED);
    }
}

TEST_F(Interrupt, OfTheParentDoesNotReachTheChild) {
    ScriptedPeer peer(kMainDaemonSocket,
                      {{read_request(), send_bytes(reply("x"))},
                       {read_request(), pause_for(300ms), send_bytes(reply("x"))}});
    EXPECT_EQ(ask(), kOk);
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        _exit(ask());
    }
    EXPECT_TRUE(peer.wait_for_connections(2));
    IPCServInterrupt();
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(Interrupt, OfTheChildDoesNotReachTheParent) {
    ScriptedPeer peer(kMainDaemonSocket,
                      {{read_request(), send_bytes(reply("x"))},
                       {read_request(), pause_for(300ms), send_bytes(reply("x"))}});
    EXPECT_EQ(ask(), kOk);
    auto exchange = std::async(std::launch::async, ask, "<request/>");
    ASSERT_TRUE(peer.wait_for_connections(2));
    expect_in_child([] {
        IPCServInterrupt();
        return ask() == ECANCELED;
    });
    EXPECT_EQ(exchange.get(), kOk);
}

TEST_F(Interrupt, OfTheParentIsOverInALaterChild) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("x"))}});
    IPCServInterrupt();
    expect_in_child([] { return ask() == kOk; });
    EXPECT_EQ(ask(), ECANCELED);
}

TEST_F(Interrupt, IsNotLostWhenTheNextInitFollowsAtOnce) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    IPCServTerm(); // so that the next init does not wait for the exchange
    auto exchange = std::async(std::launch::async, ask, "<request/>");
    ASSERT_TRUE(peer.wait_for_connections(1));
    IPCServInterrupt();
    IPCServInit(kMainDaemonSocket);
    ASSERT_EQ(exchange.wait_for(harness::kPatience), std::future_status::ready);
    EXPECT_EQ(exchange.get(), ECANCELED);
}

} // namespace
} // namespace zrp::transport_interrupt_test
