// What tests of the management catalogue share: documents and replies of the main daemon, arguments
// that are refused, and the simulated server with a list of its volumes.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "common/heap_text.h"
#include "common/requests/volume_list.h"
#include "tests/support/exact_block.h"
#include "tests/support/simulated_server.h"
#include "tests/unit/failing_malloc.h"
#include "tests/unit/operation_faults.h"

namespace zrp {

inline constexpr const char* kLongestName = "ABCDEFGHIJKLMNO";  // 15 characters
inline constexpr const char* kTooLongName = "ABCDEFGHIJKLMNOP"; // 16

// A whole request, with its process id masked.
inline std::string request_with(const std::string& command, const std::string& children) {
    return "<zrpConsoleRequest pid=\"PID\"><" + command + ">\n" + children + "\n</" + command +
           "></zrpConsoleRequest>";
}

inline std::string reply_with(const std::string& command, const std::string& content) {
    return "<zrpConsoleReply><" + command + ">" + content + "</" + command + "></zrpConsoleReply>";
}

// A daemon that gives each connection the reply of its turn; the last one stays.
inline std::vector<PeerScript> answer_with(const std::vector<std::string>& replies) {
    std::vector<PeerScript> scripts;
    scripts.reserve(replies.size());
    for (const std::string& text : replies) {
        scripts.push_back({read_request(), send_bytes(reply(text))});
    }
    return scripts;
}

// Texts that would break a document, and null.
inline const std::vector<const char*>& unsendable_texts() {
    static const std::vector<const char*> texts = {nullptr,  "<",   "a<b>",  "</x>", "\x01",
                                                   "a\x1Fz", "R&D", "&nbsp", "&#1;"};
    return texts;
}

// Texts that a document holds unchanged: none, markup characters, entities, a long one.
inline const std::vector<std::string>& sendable_texts() {
    static const std::vector<std::string> texts = {
        "", "R&amp;D", "&#228;&#xE4;", "a>b", "\"q\"'s", "Gr\xC3\xBC n", std::string(5000, 'x')};
    return texts;
}

// Expects the builder to refuse every text that is null or would break the document.
template <typename Build>
void expect_unsendable_refused(Build build) {
    for (const char* text : unsendable_texts()) {
        uint32_t length = 77;
        errno = 0;
        EXPECT_EQ(build(text, &length), nullptr) << (text == nullptr ? "null" : text);
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(length, 77U);
    }
}

// Expects the scanner to give the code for every truncated form of a reply, and 0 for the whole.
template <typename Scan>
void expect_prefixes_fail(const std::string& text, Scan scan, int code = kInvalid) {
    scan_every_prefix(text, [&](char* reply, int length) {
        EXPECT_EQ(scan(reply, length), static_cast<size_t>(length) < text.size() ? code : int{kOk})
            << length;
    });
}

// Operations against a scripted daemon.
class CatalogueTest : public OperationTest {
protected:
    // Expects a code without an exchange, and what the log then holds.
    template <typename Run>
    void expect_not_sent(Run run, int code, const std::string& line = "") {
        empty_file();
        ScriptedPeer peer(kMainDaemonSocket, {{read_request()}});
        EXPECT_EQ(run(log), code);
        EXPECT_EQ(run(static_cast<LogContext*>(nullptr)), code);
        EXPECT_EQ(peer.connections(), 0U);
        EXPECT_EQ(contents(), line);
    }

    // Expects the edge of a volume name's length: 16 characters are not sent.
    template <typename Run>
    void expect_long_name_refused(Run run) {
        expect_not_sent([&](LogContext* to) { return run(kTooLongName, to); }, kNameTooLong,
                        "[i TIME] Supported Volume name max length 15\n");
        expect_not_sent([&](LogContext* to) { return run(nullptr, to); }, kInvalid);
    }

    // Expects the operation to end without memory for its request of that size.
    template <typename Run>
    void expect_no_memory(size_t requestRoom, Run run) {
        const FailingMalloc failing(requestRoom);
        expect_not_sent(run, kNoMemory, "[! TIME] failed to allocate request buffer ENOMEM\n");
    }
};

// Operations against the simulated server. Its figures do not change.
class ServerTest : public testing::Test {
protected:
    ServerTest() {
        IPCServInit(kMainDaemonSocket);
    }
    ~ServerTest() override {
        IPCServTerm();
    }
    void SetUp() override {
        ASSERT_TRUE(server.ready());
    }

    // Names and status of all volumes that the server lists.
    static std::map<std::string, uint32_t> volumes() {
        std::map<std::string, uint32_t> found;
        const auto add = [](void* context, const ListedVolume& volume) {
            static_cast<decltype(found)*>(context)->emplace(volume.name, volume.status);
            return 0;
        };
        EXPECT_EQ(GetVolumes(add, nullptr, &found), kOk);
        return found;
    }

    static bool is_listed(const std::string& name) {
        return volumes().contains(name);
    }

    static bool is_mounted(const std::string& name) {
        return (volumes().at(name) & kVolumeMounted) != 0;
    }

    // Sends a document of a builder, for commands without an operation, and gives the reply.
    static std::string ask(char* document, uint32_t length) {
        const HeapText request(document);
        uint64_t replyLength = 0;
        char* text = nullptr;
        EXPECT_EQ(IPCServRequest(kMainDaemonRequest, length, document, &replyLength, &text), kOk);
        const HeapText owned(text);
        return {text, replyLength};
    }

    SimulatedServer server{{"--clock", "1000"}};
    ErrorText errorText = "untouched";
};

} // namespace zrp
