#include "common/ipc_context.h"

#include <cstring>
#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "common/heap_text.h"
#include "tests/unit/failing_malloc.h"
#include "tests/unit/operation_faults.h"

namespace zrp::ipc_context_test {
namespace {

constexpr const char* kName = "/tmp/.zrpcontext";

struct Answer {
    int code = -1;
    uint64_t length = 99;
    HeapText text;
};

Answer ask(IPCServContext& context, const std::string& request = "<q/>") {
    Answer answer;
    char unowned = '#';
    char* text = &unowned;
    answer.code =
        IPCServRequestEx(context, 17, request.size(), request.data(), &answer.length, &text);
    EXPECT_NE(text, &unowned);
    answer.text.reset(text != &unowned ? text : nullptr);
    return answer;
}

class IpcContext : public LogTest {
protected:
    IpcContext() {
        IPCServInit(kMainDaemonSocket);
        IPCServContextInit(context);
    }
    ~IpcContext() override {
        IPCServContextClose(context);
        IPCServTerm();
    }

    std::string write_config(const std::string& text) const {
        const std::string file = folder + "/zrp.conf";
        std::ofstream(file) << text;
        return file;
    }

    IPCServContext context;
};

TEST_F(IpcContext, InitResetsAnyMemory) {
    memset(context.socketName, 'x', sizeof context.socketName);
    context.state = 7;
    context.initialised = 7;
    context.requestCount = 7;
    context.failureCount = 7;
    context.inFlight = 7;
    context.log = GetLogContext();
    IPCServContextInit(context);
    EXPECT_EQ(memcmp(context.socketName, "\0\0\0\0x", 5), 0);
    EXPECT_EQ(context.state, -1);
    EXPECT_EQ(context.initialised, 0);
    EXPECT_EQ(context.requestCount, 0U);
    EXPECT_EQ(context.failureCount, 0U);
    EXPECT_EQ(context.inFlight, 0U);
    EXPECT_EQ(context.log, nullptr);
}

TEST_F(IpcContext, AnOpenContextReachesItsOwnDaemon) {
    ScriptedPeer peer(kName, {{read_request(), send_bytes(reply("<r/>"))}});
    EXPECT_EQ(IPCServContextOpen(context, kName, nullptr, nullptr, kLogDebug), kOk);
    EXPECT_STREQ(context.socketName, kName);
    EXPECT_EQ(context.state, 0);
    EXPECT_EQ(context.initialised, 1);
    const Answer answer = ask(context);
    EXPECT_EQ(answer.code, kOk);
    EXPECT_EQ(std::string(answer.text.get(), answer.length), "<r/>");
    RequestHeader header;
    memcpy(&header, peer.requests().at(0).data(), sizeof header);
    EXPECT_EQ(header.requestNumber, 17U);
    EXPECT_EQ(header.length, 4U);
    EXPECT_EQ(context.requestCount, 1U);
    EXPECT_EQ(context.failureCount, 0U);
    EXPECT_EQ(context.inFlight, 0U);
}

TEST_F(IpcContext, AClosedContextSendsNothing) {
    ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply("<r/>"))}});
    EXPECT_EQ(ask(context).code, kInvalid);
    EXPECT_EQ(IPCServContextOpen(context, nullptr, nullptr, nullptr, 0), kInvalid);
    EXPECT_EQ(IPCServContextOpen(context, "", nullptr, nullptr, 0), kInvalid);
    const Answer answer = ask(context);
    EXPECT_EQ(answer.code, kInvalid);
    EXPECT_EQ(answer.text, nullptr);
    EXPECT_EQ(answer.length, 0U);
    EXPECT_EQ(context.requestCount, 0U);
    EXPECT_EQ(peer.connections(), 0U);
}

TEST_F(IpcContext, EachFaultIsCountedAndLogged) {
    ASSERT_EQ(IPCServContextOpen(context, kName, nullptr, path.c_str(), kLogDebug), kOk);
    uint32_t failures = 0;
    uint32_t requests = 0;
    for (const Fault& fault : faults()) {
        SCOPED_TRACE(fault.name);
        empty_file();
        std::optional<ScriptedPeer> peer;
        if (fault.script.has_value()) {
            peer.emplace(kName, std::vector<PeerScript>{*fault.script});
        }
        const Answer answer = ask(context);
        const bool isError = fault.errorText == nullptr;
        const bool isStatus = strcmp(fault.name, "status") == 0;
        EXPECT_EQ(answer.code, isError ? fault.code : kOk);
        failures += isError ? 1 : 0;
        requests++;
        EXPECT_EQ(context.failureCount, failures);
        EXPECT_EQ(context.requestCount, requests);
        const std::string code = std::to_string(fault.code) + "\n";
        EXPECT_EQ(contents(),
                  !isError   ? ""
                  : isStatus ? "[! TIME] IPCServRequestEx clientErr=" + code
                             : "[! TIME] IPCServRequestEx open/send/received failed rc=" + code);
        const bool isEmpty = strcmp(fault.name, "zero length") == 0;
        EXPECT_EQ(answer.text != nullptr, isStatus || (!isError && !isEmpty));
    }
}

TEST_F(IpcContext, AMissingConnectionObjectIsLogged) {
    ASSERT_EQ(IPCServContextOpen(context, kName, nullptr, path.c_str(), kLogDebug), kOk);
    const FailingMalloc failing(sizeof(IPCClient));
    EXPECT_EQ(ask(context).code, kNoMemory);
    EXPECT_EQ(context.failureCount, 1U);
    EXPECT_EQ(contents(), "[! TIME] IPCServRequestEx req#=17 len=4 IPCClient() ENOMEM\n");
}

TEST_F(IpcContext, AStatusLeavesTheReplyWithTheCaller) {
    ScriptedPeer peer(kName, {{read_request(), send_bytes(reply(std::string(40, 'x'), 5))}});
    ASSERT_EQ(IPCServContextOpen(context, kName, nullptr, nullptr, 0), kOk);
    const Answer answer = ask(context);
    EXPECT_EQ(answer.code, 5);
    EXPECT_EQ(std::string(answer.text.get(), answer.length), std::string(40, 'x'));
}

TEST_F(IpcContext, TheConfigurationFileSetsTheLogLevel) {
    const std::string config = write_config("LOG_LEVEL info\n");
    EXPECT_EQ(IPCServContextOpen(context, kName, config.c_str(), path.c_str(), kLogError), kOk);
    EXPECT_EQ(context.log, GetLogContext());
    EXPECT_EQ(GetLogContext()->level, kLogInfo);
    const std::string text = contents();
    EXPECT_NE(text.find("[L TIME] ProcessLogLevel changed to \"info\"\n"), std::string::npos);
    EXPECT_NE(text.find("[i TIME] ... libauthgate started "), std::string::npos);
    EXPECT_NE(text.find("[i TIME] ... log level = 3\n"), std::string::npos);
}

TEST_F(IpcContext, WithoutAConfigurationFileTheLevelIsTheArgument) {
    EXPECT_EQ(
        IPCServContextOpen(context, kName, (folder + "/none").c_str(), path.c_str(), kLogDump),
        kOk);
    EXPECT_EQ(GetLogContext()->level, kLogDump);
    EXPECT_EQ(contents(), "");
}

TEST_F(IpcContext, AnOpenContextKeepsItsNameAndMayGetALogLater) {
    ASSERT_EQ(IPCServContextOpen(context, kName, nullptr, nullptr, 0), kOk);
    EXPECT_EQ(context.log, nullptr);
    ASSERT_EQ(IPCServContextOpen(context, "other", nullptr, path.c_str(), kLogError), kOk);
    EXPECT_STREQ(context.socketName, kName);
    EXPECT_EQ(context.log, GetLogContext());
}

TEST_F(IpcContext, ClosingForgetsNameAndLog) {
    ASSERT_EQ(IPCServContextOpen(context, kName, nullptr, path.c_str(), kLogError), kOk);
    IPCServContextClose(context);
    EXPECT_EQ(context.state, -1);
    EXPECT_EQ(context.initialised, 0);
    EXPECT_EQ(memcmp(context.socketName, "\0\0\0\0", 4), 0);
    EXPECT_EQ(context.log, nullptr);
    EXPECT_EQ(GetLogContext()->fileOpen, 0);
    IPCServContextClose(context);
    EXPECT_EQ(ask(context).code, kInvalid);
}

TEST_F(IpcContext, ClosingWaitsForTheExchangeInFlight) {
    ScriptedPeer peer(kName, {{read_request(), pause_for(harness::milliseconds{100}),
                               send_bytes(reply("<r/>"))}});
    ASSERT_EQ(IPCServContextOpen(context, kName, nullptr, nullptr, 0), kOk);
    std::atomic<int> code{-1};
    std::thread asking([&] { code = ask(context).code; });
    ASSERT_TRUE(peer.wait_for_connections(1));
    EXPECT_EQ(context.inFlight, 1U);
    IPCServContextClose(context);
    EXPECT_EQ(context.inFlight, 0U);
    asking.join();
    EXPECT_EQ(code, kOk);
}

TEST_F(IpcContext, AChildDoesNotWaitForAnExchangeOfItsParent) {
    std::promise<void> childHasEnded;
    const auto answer_in_the_end = [&](const std::string&) {
        childHasEnded.get_future().wait();
        return reply("<r/>");
    };
    ScriptedPeer peer(kName, {{read_request(), reply_to(answer_in_the_end)},
                              {read_request(), send_bytes(reply("<r/>"))}});
    ASSERT_EQ(IPCServContextOpen(context, kName, nullptr, nullptr, 0), kOk);
    std::thread asking([&] { EXPECT_EQ(ask(context).code, kOk); });
    ASSERT_TRUE(peer.wait_for_connections(1));
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        const bool isIdle = context.inFlight == 0;
        const bool works = ask(context).code == kOk;
        IPCServContextClose(context);
        _exit(isIdle && works ? 0 : 1);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(context.inFlight, 1U);
    childHasEnded.set_value();
    asking.join();
}

TEST_F(IpcContext, ManyThreadsMayUseAContextAtOnce) {
    constexpr int kThreads = 4;
    constexpr int kEach = 20;
    ScriptedPeer peer(kName, {{read_request(), send_bytes(reply("<r/>"))}});
    ASSERT_EQ(IPCServContextOpen(context, kName, nullptr, nullptr, 0), kOk);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; i++) {
        threads.emplace_back([&] {
            for (int j = 0; j < kEach; j++) {
                EXPECT_EQ(ask(context).code, kOk);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(context.requestCount, uint32_t{kThreads * kEach});
    EXPECT_EQ(context.failureCount, 0U);
}

} // namespace
} // namespace zrp::ipc_context_test
