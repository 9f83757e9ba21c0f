// What tests of operations share: a log to look into, documents with this process's id, and every
// way in which an exchange fails.
#pragma once

#include <cerrno>
#include <functional>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "common/log/log_context.h"
#include "common/result.h"
#include "common/transport.h"
#include "common/xml_reader.h"
#include "tests/support/scripted_peer.h"
#include "tests/unit/log_fixture.h"

namespace zrp {

// A document with "PID" for this process's id.
inline std::string mask_pid(std::string text) {
    const std::string id = "pid=\"" + std::to_string(getpid()) + "\"";
    const size_t at = text.find(id);
    return at == std::string::npos ? text : text.replace(at, id.size(), "pid=\"PID\"");
}

// The document of a builder's result, which is freed. "(null)" for none. The length is a reference,
// so that the builder may be called in the same expression.
inline std::string built(char* document, const uint32_t& length) {
    if (document == nullptr) {
        return "(null)";
    }
    EXPECT_EQ(strlen(document), length);
    std::string text = mask_pid({document, length});
    free(document);
    return text;
}

// A request without its header.
inline std::string document_of(const std::string& request) {
    return request.size() < sizeof(RequestHeader) ? "(none)"
                                                  : mask_pid(request.substr(sizeof(RequestHeader)));
}

struct Fault {
    const char* name;
    std::optional<PeerScript> script; // nothing: nobody listens
    int code;
    const char* errorText; // of the server's error; null for a failed exchange
    // The exchange is as good as any, but the reply holds nothing: what becomes of that is the
    // operation's own, the code is that of most.
    bool isSpoilt = false;
};

inline std::vector<Fault> faults() {
    const std::string error = "<r><result value=\"-5\"><description>no such volume</description>"
                              "</result></r>";
    return {
        {"nobody listens", {}, ECONNREFUSED, nullptr},
        {"closed at once", PeerScript{}, kShortHeader, nullptr},
        {"short header", PeerScript{read_request(), send_bytes(reply_header(0).substr(0, 8))},
         kShortHeader, nullptr},
        {"wrong magic", PeerScript{read_request(), send_bytes(reply_header(0, 0, 0x98BADCFE))},
         kBadMagic, nullptr},
        {"status", PeerScript{read_request(), send_bytes(reply("<r/>", 5))}, 5, nullptr},
        {"error element", PeerScript{read_request(), send_bytes(reply(error))}, -5,
         "-5 no such volume"},
        {"write error",
         PeerScript{
             read_request(),
             send_bytes(reply("<r><writeResult><error>disk full</error></writeResult></r>"))},
         kWriteError, "disk full"},
        {"zero length", PeerScript{read_request(), send_bytes(reply(""))}, kInvalid, "", true},
        {"early close", PeerScript{read_request(), send_bytes(reply_header(20) + "<zrpCons")},
         kInvalid, "", true},
    };
}

// The log of each test is open at the level that writes no dumps.
class OperationTest : public LogTest {
protected:
    OperationTest() : log(InitLogContext(path.c_str(), kLogDebug)) {
        IPCServInit(kMainDaemonSocket);
    }
    ~OperationTest() override {
        IPCServTerm();
    }

    // What an operation makes of a reply that holds nothing.
    struct Spoilt {
        int code = kInvalid;
        const char* log = "";
    };

    // Runs the operation under every fault of the daemon and expects its code and the one line
    // "IPCServRequest rc=CODE" for a failed exchange.
    using Operation = std::function<int(ErrorText* errorText, LogContext* log)>;
    void expect_faults(const char* socketName, const Operation& operation,
                       const Spoilt& spoilt = {kInvalid, ""}) {
        for (const Fault& fault : faults()) {
            SCOPED_TRACE(fault.name);
            empty_file();
            std::optional<ScriptedPeer> peer;
            if (fault.script.has_value()) {
                peer.emplace(socketName, std::vector<PeerScript>{*fault.script});
            }
            ErrorText errorText = "untouched";
            const int code = fault.isSpoilt ? spoilt.code : fault.code;
            EXPECT_EQ(operation(&errorText, log), code);
            EXPECT_STREQ(errorText, fault.errorText == nullptr ? "" : fault.errorText);
            EXPECT_EQ(contents(), fault.isSpoilt               ? spoilt.log
                                  : fault.errorText != nullptr ? ""
                                                               : exchange_line(code));
            EXPECT_EQ(operation(nullptr, nullptr), code);
        }
    }

    static std::string exchange_line(int code) {
        return "[! TIME] IPCServRequest rc=" + std::to_string(code) + "\n";
    }

    LogContext* log;
};

inline constexpr const char* kReplyStartLine = "[! TIME] error from reply start\n";

} // namespace zrp
