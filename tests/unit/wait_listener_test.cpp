// The listener of a thread hears of each wait of an exchange that lasts. Here it interrupts them,
// so that one of which it does not hear never ends.
#include "common/wait_listener.h"

#include <atomic>
#include <cerrno>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "common/heap_text.h"
#include "common/result.h"
#include "common/transport.h"
#include "common/xml_reader.h"
#include "tests/support/scripted_peer.h"
#include "tests/unit/full_peer.h"

namespace zrp::wait_listener_test {
namespace {

std::atomic<int> calls{0};

void interrupt() {
    calls++;
    IPCServInterrupt();
}

class WaitListener : public testing::Test {
protected:
    WaitListener() {
        calls = 0;
        IPCServInit(kMainDaemonSocket);
        set_wait_listener(interrupt);
    }

    ~WaitListener() override {
        set_wait_listener(nullptr);
        IPCServInit("reset");
        IPCServTerm();
    }

    static int ask(const std::string& text = "<request/>", int32_t timeoutMs = 0) {
        uint64_t length = 0;
        char* reply = nullptr;
        const int rc = IPCServRequestTimeout(kMainDaemonSocket, kMainDaemonRequest, text.size(),
                                             text.data(), &length, &reply, timeoutMs);
        const HeapText owned(reply);
        return rc;
    }
};

TEST_F(WaitListener, HearsOfAFullBacklog) {
    const FullPeer peer;
    ASSERT_TRUE(peer.full());
    EXPECT_EQ(ask(), ECANCELED);
}

TEST_F(WaitListener, HearsOfARequestThatIsNotTaken) {
    const ScriptedPeer peer(kMainDaemonSocket, {{hang()}});
    EXPECT_EQ(ask(std::string(10'000'000, 'r')), ECANCELED);
}

TEST_F(WaitListener, HearsOfAReplyThatDoesNotCome) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    EXPECT_EQ(ask(), ECANCELED);
}

TEST_F(WaitListener, HearsOfAReplyThatDrips) {
    PeerScript script = {read_request(), send_bytes(reply_header(1'000'000))};
    for (const PeerStep& step : send_in_pieces(std::string(100'000, 'd'), 1)) {
        script.push_back(step);
    }
    const ScriptedPeer peer(kMainDaemonSocket, {script});
    EXPECT_EQ(ask(), ECANCELED);
    EXPECT_GT(calls, 0);
}

TEST_F(WaitListener, HearsOfALongScan) {
    std::string text(3'000'000, '<');
    XmlElement element;
    EXPECT_EQ(FindElement("a", text.data(), text.data() + text.size(), &element), ECANCELED);
}

TEST_F(WaitListener, HearsNothingOfOtherThreads) {
    constexpr int32_t kTimeoutMs = 200;
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), hang()}});
    int rc = kOk;
    std::thread([&] { rc = ask("<request/>", kTimeoutMs); }).join();
    EXPECT_EQ(rc, kShortHeader);
    EXPECT_EQ(calls, 0);
}

} // namespace
} // namespace zrp::wait_listener_test
