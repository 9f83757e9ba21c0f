// Short ways for tests to send requests to a simulated world.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "common/transport.h"
#include "tools/zrpsim/world/dispatch.h"

namespace zrp::sim {

// Sends a command element to the main daemon and returns the reply.
inline std::string ask(World& world, const std::string& command) {
    const std::string request = "<zrpConsoleRequest pid=\"7\">" + command + "</zrpConsoleRequest>";
    return answer_request(world, Peer::kMainDaemon, kMainDaemonRequest, request).text;
}

// Sends a command element to the storage daemon and returns the reply.
inline std::string ask_storage(World& world, const std::string& command) {
    const std::string request = "<zrp2bks_request pid=\"7\">" + command + "</zrp2bks_request>";
    return answer_request(world, Peer::kStorageDaemon, kStorageDaemonRequest, request).text;
}

// The bits of a connection's status of which one has to be set for the monitor to show its details.
inline constexpr uint32_t kAnyDetailsStatus = 0x200 | 0x20 | 0x1;

// Returns the text of the first element of that name, or "(none)".
inline std::string text_of(const std::string& reply, const std::string& tag) {
    const size_t from = reply.find("<" + tag + ">");
    const size_t to = reply.find("</" + tag + ">", from);
    if (from == std::string::npos || to == std::string::npos)
        return "(none)";
    return reply.substr(from + tag.size() + 2, to - from - tag.size() - 2);
}

inline size_t count_of(const std::string& reply, const std::string& text) {
    size_t count = 0;
    for (size_t at = reply.find(text); at != std::string::npos; at = reply.find(text, at + 1))
        count++;
    return count;
}

// Returns the code of the error element, 0 without one.
inline int refusal_code(const std::string& reply) {
    constexpr std::string_view kMark = "<result value=\"";
    const size_t at = reply.find(kMark);
    return at == std::string::npos ? 0 : std::stoi(reply.substr(at + kMark.size()));
}

} // namespace zrp::sim
