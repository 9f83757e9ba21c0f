#include <string>
#include <utility>
#include <vector>

#include "common/requests/storage_control.h"
#include "tests/support/simulated_server.h"
#include "tests/unit/failing_malloc.h"
#include "tests/unit/operation_faults.h"

namespace zrp::storage_filter_test {
namespace {

constexpr size_t kRoom = 512;

using Filters = std::vector<std::pair<std::string, std::string>>;

void collect(const char* name, const char* value, void* userData) {
    static_cast<Filters*>(userData)->emplace_back(name, value);
}

PeerScript answer(const std::string& content) {
    return {read_request(),
            send_bytes(reply("<zrp2bks_reply><filter>" + content + "</filter></zrp2bks_reply>"))};
}

std::string parm(const std::string& name, const std::string& value) {
    return "<parm><name>" + name + "</name><value>" + value + "</value></parm>";
}

std::string filter_request(const std::string& content) {
    return "<zrp2bks_request pid=\"PID\"><filter>\n" + content + "\n</filter></zrp2bks_request>";
}

using StorageFilter = OperationTest;

TEST_F(StorageFilter, EachFilterIsReported) {
    ScriptedPeer peer(kStorageDaemonSocket, {answer("<list>" + parm("events", "0xff") + "\n" +
                                                    parm("quotas", "0x7") + "\n</list>")});
    Filters filters;
    EXPECT_EQ(IPCBKSControlFilterList(collect, &filters, log), kOk);
    EXPECT_EQ(filters, (Filters{{"events", "0xff"}, {"quotas", "0x7"}}));
    EXPECT_EQ(document_of(peer.requests().at(0)), filter_request("<list/>"));
    EXPECT_EQ(contents(), "");
}

TEST_F(StorageFilter, AReplyWithoutAListReportsNothing) {
    ScriptedPeer peer(kStorageDaemonSocket, {answer("")});
    Filters filters;
    EXPECT_EQ(IPCBKSControlFilterList(collect, &filters, log), kOk);
    EXPECT_EQ(filters, Filters{});
    EXPECT_EQ(contents(), "[! TIME] IPCBKSControlFilterList: XML_GetTagElement(\"list\") rc=2\n");
    EXPECT_EQ(IPCBKSControlFilterList(collect, &filters, nullptr), kOk);
}

TEST_F(StorageFilter, AnEmptyListIsNoFailure) {
    for (const char* content : {"<list/>", "<list></list>", "<list> \n</list>"}) {
        ScriptedPeer peer(kStorageDaemonSocket, {answer(content)});
        Filters filters;
        EXPECT_EQ(IPCBKSControlFilterList(collect, &filters, log), kOk);
        EXPECT_EQ(filters, Filters{});
    }
    EXPECT_EQ(contents(), "");
}

TEST_F(StorageFilter, AListThatEndsInSomethingElseIsLogged) {
    ScriptedPeer peer(kStorageDaemonSocket,
                      {answer("<list>" + parm("events", "1") + "<parm><name>x</name></list>")});
    Filters filters;
    EXPECT_EQ(IPCBKSControlFilterList(collect, &filters, log), kOk);
    EXPECT_EQ(filters, (Filters{{"events", "1"}}));
    EXPECT_EQ(contents(), "[! TIME] IPCBKSControlFilterList: XML_GetTagElement(\"parm\") rc=2\n");
}

TEST_F(StorageFilter, AFilterWithoutNameOrValueIsPassedOver) {
    const std::string longest(4095, 'v');
    ScriptedPeer peer(kStorageDaemonSocket,
                      {answer("<list><parm><name>a</name></parm><parm/><parm><value>1</value>"
                              "</parm>" +
                              parm("b", longest) + parm("c", "x" + longest) +
                              parm("x" + longest, "1") + "</list>")});
    Filters filters;
    EXPECT_EQ(IPCBKSControlFilterList(collect, &filters, log), kOk);
    EXPECT_EQ(filters, (Filters{{"b", longest}}));
    EXPECT_EQ(contents(), "");
}

TEST_F(StorageFilter, TheListsFaultsHaveTheirLines) {
    for (const Fault& fault : faults()) {
        SCOPED_TRACE(fault.name);
        empty_file();
        std::optional<ScriptedPeer> peer;
        if (fault.script.has_value()) {
            peer.emplace(kStorageDaemonSocket, std::vector<PeerScript>{*fault.script});
        }
        Filters filters;
        const int code = fault.isSpoilt ? int{kNotFound} : fault.code;
        EXPECT_EQ(IPCBKSControlFilterList(collect, &filters, log), code);
        EXPECT_EQ(contents(),
                  std::string("[! TIME] IPCBKSControlFilterList: ") +
                      (fault.isSpoilt ? "XML_GetTagElement(\"list\") rc=2\n"
                                      : (fault.errorText == nullptr ? "IPCServRequestEx() rc="
                                                                    : "CheckForError() rc=") +
                                            std::to_string(code) + "\n"));
        EXPECT_EQ(IPCBKSControlFilterList(collect, &filters, nullptr), code);
    }
}

TEST_F(StorageFilter, EveryPrefixOfAListIsReadInItsBounds) {
    const std::string text = "<zrp2bks_reply><filter><list>" + parm("events", "0xff") +
                             "</list></filter></zrp2bks_reply>";
    const size_t listEnd = text.find("</list>") + strlen("</list>");
    std::vector<PeerScript> scripts;
    for (size_t length = 0; length < text.size(); length++) {
        scripts.push_back({read_request(), send_bytes(reply(text.substr(0, length)))});
    }
    ScriptedPeer peer(kStorageDaemonSocket, scripts);
    for (size_t length = 0; length < text.size(); length++) {
        Filters filters;
        const bool isCut = length < listEnd; // what is after the list does not count
        EXPECT_EQ(IPCBKSControlFilterList(collect, &filters, nullptr), isCut ? kNotFound : kOk);
        EXPECT_EQ(filters.size(), isCut ? 0U : 1U) << length;
    }
}

struct Change {
    const char* name;
    int (*run)(const LogContext* log);
    const char* request;
    const char* line; // of a failed exchange, or null
};

const Change kChanges[] = {
    {"Set", [](const LogContext* log) { return IPCBKSControlFilterSet(log, "events", 255); },
     "<set><parm><name>events</name><value>0xff</value></parm></set>",
     "[! TIME] IPCBKSControlFilterSet: IPCServRequestEx() rc="},
    {"SetToNothing", [](const LogContext* log) { return IPCBKSControlFilterSet(log, "events", 0); },
     "<set><parm><name>events</name><value>0x0</value></parm></set>",
     "[! TIME] IPCBKSControlFilterSet: IPCServRequestEx() rc="},
    {"Reset", IPCBKSControlFilterReset, "<reset/>", nullptr},
    {"Off", IPCBKSControlFilterOff, "<off/>", nullptr},
};

class FilterChange : public StorageFilter, public testing::WithParamInterface<Change> {};

INSTANTIATE_TEST_SUITE_P(Changes, FilterChange, testing::ValuesIn(kChanges),
                         [](const auto& change) { return std::string(change.param.name); });

TEST_P(FilterChange, SendsItsDocumentAndDumpsOnlyThat) {
    operations().SetLogLevel(kLogDump);
    ScriptedPeer peer(kStorageDaemonSocket, {answer("")});
    EXPECT_EQ(GetParam().run(log), kOk);
    const std::string request = peer.requests().at(0).substr(sizeof(RequestHeader));
    EXPECT_EQ(mask_pid(request), filter_request(GetParam().request));
    EXPECT_EQ(contents(), "[* TIME] <ldump len=\"" + std::to_string(request.size()) + "\">\n" +
                              request + "\n</ldump>\n");
}

TEST_P(FilterChange, TheReplyIsNotLookedAt) {
    for (const Fault& fault : faults()) {
        SCOPED_TRACE(fault.name);
        empty_file();
        std::optional<ScriptedPeer> peer;
        if (fault.script.has_value()) {
            peer.emplace(kStorageDaemonSocket, std::vector<PeerScript>{*fault.script});
        }
        const bool isFailedExchange = fault.errorText == nullptr;
        EXPECT_EQ(GetParam().run(log), isFailedExchange ? fault.code : kOk);
        EXPECT_EQ(contents(), isFailedExchange && GetParam().line != nullptr
                                  ? GetParam().line + std::to_string(fault.code) + "\n"
                                  : "");
        EXPECT_EQ(GetParam().run(nullptr), isFailedExchange ? fault.code : kOk);
    }
}

TEST_P(FilterChange, WithoutMemoryNothingIsSent) {
    ScriptedPeer peer(kStorageDaemonSocket, {answer("")});
    const FailingMalloc failing(kRoom);
    EXPECT_EQ(GetParam().run(log), kNoMemory);
    EXPECT_EQ(peer.connections(), 0U);
    EXPECT_EQ(contents(), "");
}

TEST_F(StorageFilter, ABadArgumentIsNotSent) {
    ScriptedPeer peer(kStorageDaemonSocket, {answer("")});
    Filters filters;
    EXPECT_EQ(IPCBKSControlFilterList(nullptr, &filters, log), kInvalid);
    EXPECT_EQ(IPCBKSControlFilterSet(log, nullptr, 1), kInvalid);
    EXPECT_EQ(IPCBKSControlFilterSet(log, "a</name>", 1), kInvalid);
    EXPECT_EQ(IPCBKSControlFilterSet(log, "a&b", 1), kInvalid);
    EXPECT_EQ(IPCBKSControlFilterSet(log, std::string(kRoom, 'x').c_str(), 1), kNoMemory);
    {
        const FailingMalloc failing(kRoom);
        EXPECT_EQ(IPCBKSControlFilterList(collect, &filters, log), kNoMemory);
    }
    EXPECT_EQ(peer.connections(), 0U);
}

std::string value_of(const LogContext* log, const std::string& wanted) {
    Filters filters;
    EXPECT_EQ(IPCBKSControlFilterList(collect, &filters, log), kOk);
    for (const auto& [name, value] : filters) {
        if (name == wanted) {
            return value;
        }
    }
    return "(none)";
}

TEST_F(StorageFilter, TheSimulatedServerKeepsWhatIsSet) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    const std::string before = value_of(log, "events");
    EXPECT_EQ(IPCBKSControlFilterSet(log, "events", 0x1234), kOk);
    EXPECT_EQ(strtoul(value_of(log, "events").c_str(), nullptr, 0), 0x1234U);
    EXPECT_EQ(IPCBKSControlFilterOff(log), kOk);
    EXPECT_EQ(strtoul(value_of(log, "events").c_str(), nullptr, 0), 0U);
    EXPECT_EQ(IPCBKSControlFilterReset(log), kOk);
    EXPECT_EQ(value_of(log, "events"), before);
    EXPECT_EQ(contents(), "");
}

TEST_F(StorageFilter, TheRefusalOfAnUnknownNameIsNotLookedAt) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    Filters before;
    Filters after;
    ASSERT_EQ(IPCBKSControlFilterList(collect, &before, log), kOk);
    EXPECT_EQ(IPCBKSControlFilterSet(log, "no such filter", 1), kOk);
    ASSERT_EQ(IPCBKSControlFilterList(collect, &after, log), kOk);
    EXPECT_EQ(after, before);
    EXPECT_EQ(contents(), "");
}

} // namespace
} // namespace zrp::storage_filter_test
