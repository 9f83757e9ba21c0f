#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/result.h"
#include "tests/support/scripted_peer.h"
#include "tests/unit/transport_fixture.h"

namespace zrp::transport_connect_test {
namespace {

TEST_F(Transport, WithoutADaemonTheConnectionIsRefused) {
    expect_nothing(ask("nobody"), ECONNREFUSED);
    const RefusingPeer peer(kMainDaemonSocket);
    expect_nothing(ask(), ECONNREFUSED);
    expect_nothing(ask(""), ECONNREFUSED);
}

TEST_F(Transport, WithoutADescriptorTheErrnoOfSocketIsReturned) {
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none = {0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const Answer answer = ask();
    const Answer inTime = ask_in_time(kEarlyEnd);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    expect_nothing(answer, EMFILE);
    expect_nothing(inTime, EMFILE);
}

// Milliseconds of one of the socket's two time-outs.
int64_t timeout_of(const IPCClient& client, int option) {
    timeval timeout = {-1, 0};
    socklen_t size = sizeof timeout;
    EXPECT_EQ(getsockopt(client.fd, SOL_SOCKET, option, &timeout, &size), 0);
    return timeout.tv_sec * int64_t{1000} + timeout.tv_usec / 1000;
}

TEST_F(Transport, ATimeOutIsThatOfReceivingAlone) {
    const ScriptedPeer peer(kManagementSocket, {{wait_for_close()}});
    for (const int32_t timeoutMs : {10'000, 2'760, 500}) {
        IPCClient client;
        ASSERT_EQ(client.ConnectTimeout(kManagementSocket, timeoutMs), kOk);
        EXPECT_EQ(timeout_of(client, SO_RCVTIMEO), timeoutMs);
        EXPECT_EQ(timeout_of(client, SO_SNDTIMEO), 0);
    }
}

TEST_F(Transport, AProgramsOwnCallsWaitOnItsSocket) {
    const ScriptedPeer peer(kMainDaemonSocket, {{wait_for_close()}});
    IPCClient client;
    ASSERT_EQ(client.Connect(kMainDaemonSocket), kOk);
    EXPECT_EQ(fcntl(client.fd, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(timeout_of(client, SO_SNDTIMEO), 0);
}

TEST_F(Transport, ItsAddressMayBeUsedAgain) {
    const ScriptedPeer peer(kMainDaemonSocket, {{wait_for_close()}});
    IPCClient client;
    ASSERT_EQ(client.Connect(kMainDaemonSocket), kOk);
    int on = 0;
    socklen_t size = sizeof on;
    ASSERT_EQ(getsockopt(client.fd, SOL_SOCKET, SO_REUSEADDR, &on, &size), 0);
    EXPECT_EQ(on, 1);
    EXPECT_EQ(timeout_of(client, SO_RCVTIMEO), 0);
}

TEST_F(Transport, ANegativeTimeoutIsRefused) {
    const ScriptedPeer peer(kManagementSocket, {{read_request(), send_bytes(reply("x"))}});
    expect_nothing(ask_in_time(-1), kInvalid);
    expect_nothing(ask_in_time(INT32_MIN), kInvalid);
    IPCClient client;
    EXPECT_EQ(client.ConnectTimeout(kManagementSocket, -1), kInvalid);
    EXPECT_EQ(client.fd, -1);
    EXPECT_EQ(peer.connections(), 0U);
}

TEST_F(Transport, ASecondConnectClosesTheFirstConnection) {
    const ScriptedPeer peer(kMainDaemonSocket, {{wait_for_close()}});
    IPCClient client;
    EXPECT_EQ(client.Connect("nobody"), ECONNREFUSED);
    const int first = client.fd;
    ASSERT_EQ(client.Connect(kMainDaemonSocket), kOk);
    EXPECT_EQ(client.fd, first);
}

TEST_F(Transport, ATimeOutOfZeroIsNone) {
    const ScriptedPeer peer(kManagementSocket, {{wait_for_close()}});
    IPCClient client;
    ASSERT_EQ(client.ConnectTimeout(kManagementSocket, 0), kOk);
    EXPECT_EQ(timeout_of(client, SO_RCVTIMEO), 0);
}

// Runs a check in a child that has no descriptor but the standard streams.
void expect_in_bare_child(bool (*check)()) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        closefrom(STDERR_FILENO + 1);
        _exit(check() ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(Transport, AnExchangeGetsTheFirstDescriptorAfterTheStandardStreams) {
    const ScriptedPeer peer(kMainDaemonSocket, {{wait_for_close()}});
    expect_in_bare_child([] {
        IPCClient client;
        return client.Connect(kMainDaemonSocket) == kOk && client.fd == STDERR_FILENO + 1;
    });
}

TEST_F(Transport, AnExchangeNeverGetsTheNumberOfAStandardStream) {
    const ScriptedPeer peer(kMainDaemonSocket, {{wait_for_close()}});
    expect_in_bare_child([] {
        close(STDIN_FILENO);
        close(STDOUT_FILENO);
        IPCClient client;
        return client.Connect(kMainDaemonSocket) == kOk && client.fd == STDERR_FILENO + 1 &&
               fcntl(STDIN_FILENO, F_GETFD) < 0;
    });
}

TEST_F(Transport, AnotherConnectClosesTheDescriptorOfTheFirst) {
    const ScriptedPeer peer(kMainDaemonSocket, {{wait_for_close()}});
    expect_in_bare_child([] {
        IPCClient client;
        client.fd = STDOUT_FILENO; // the lowest that it closes
        return client.Connect(kMainDaemonSocket) == kOk && fcntl(STDOUT_FILENO, F_GETFD) < 0;
    });
}

TEST_F(Transport, AClientClosesItsDescriptorButNeverDescriptorZero) {
    int fd = -1;
    {
        const ScriptedPeer peer(kMainDaemonSocket, {{wait_for_close()}});
        IPCClient client;
        EXPECT_EQ(client.fd, -1);
        ASSERT_EQ(client.Connect(kMainDaemonSocket), kOk);
        fd = client.fd;
    }
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    const int before = fcntl(0, F_GETFD);
    {
        IPCClient unconnected;
        unconnected.fd = 0;
        IPCClient connected;
        connected.fd = 0;
        EXPECT_EQ(connected.Connect("nobody"), ECONNREFUSED);
        EXPECT_GT(connected.fd, 0);
    }
    EXPECT_EQ(fcntl(0, F_GETFD), before);
}

TEST_F(Transport, ANameOf106CharactersConnects) {
    // The length of an address is part of an abstract name: this one has 109 bytes.
    const std::string name(kMaxSocketName, 'n');
    const ScriptedPeer peer(name, {{read_request(), send_bytes(reply("long"))}});
    expect_text(ask(name.c_str()), "long");
}

using TransportDeathTest = Transport;

TEST_F(TransportDeathTest, ANameOf107CharactersAborts) {
    const std::string name(kMaxSocketName + 1, 'n');
    EXPECT_EXIT(ask(name.c_str()), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(
        {
            IPCServInit(name.c_str());
            ask_default();
        },
        testing::KilledBySignal(SIGABRT), "");
}

} // namespace
} // namespace zrp::transport_connect_test
