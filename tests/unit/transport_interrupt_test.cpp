// IPCServInterrupt at every step at which an exchange can wait.
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <future>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>

#include <gtest/gtest.h>

#include "common/heap_text.h"
#include "common/result.h"
#include "common/transport.h"
#include "tests/support/scripted_peer.h"

namespace zrp {
namespace {

using namespace std::chrono_literals;
using harness::Descriptor;

int ask(const std::string& text = "<request/>") {
    uint64_t length = 0;
    char* reply = nullptr;
    const int rc = IPCServRequestEx(kMainDaemonSocket, kMainDaemonRequest, text.size(), text.data(),
                                    &length, &reply);
    const HeapText owned(reply);
    EXPECT_TRUE(rc == kOk || reply == nullptr);
    return rc;
}

sockaddr_un address_of(const std::string& name, socklen_t* length) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    name.copy(&address.sun_path[1], sizeof address.sun_path - 1);
    *length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    return address;
}

// A daemon that accepts no connection and whose backlog is full.
class FullPeer {
public:
    FullPeer() : listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        socklen_t length = 0;
        const sockaddr_un address = address_of(kMainDaemonSocket, &length);
        const auto* raw = reinterpret_cast<const sockaddr*>(&address);
        EXPECT_EQ(bind(listener_.get(), raw, length), 0);
        EXPECT_EQ(listen(listener_.get(), 0), 0);
        for (Descriptor& waiting : waiting_) {
            waiting.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
            full_ = connect(waiting.get(), raw, length) != 0 && errno == EAGAIN;
        }
    }

    [[nodiscard]] bool full() const {
        return full_;
    }

    void accept_all() {
        while (accept_one()) {
        }
    }

private:
    bool accept_one() {
        pollfd watched = {listener_.get(), POLLIN, 0};
        if (poll(&watched, 1, 0) != 1) {
            return false;
        }
        const Descriptor accepted(accept(listener_.get(), nullptr, nullptr));
        return true;
    }

    Descriptor listener_;
    std::array<Descriptor, 4> waiting_;
    bool full_ = false;
};

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

} // namespace
} // namespace zrp
