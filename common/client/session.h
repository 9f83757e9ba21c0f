// The daemon that a program asks, and texts as people read and write them.
#pragma once
#include "../cplusplus.h"

#include <string>
#include <string_view>

#include "../transport.h"
#include "../xml_reader.h"

namespace zrp::client {

// Names the main daemon while it lives; without one, what asks the main daemon fails with kInvalid.
// The name belongs to the process: a program has one session at a time. The destructor waits until
// no exchange is in flight.
class [[nodiscard]] Session {
public:
    explicit Session(const std::string& socketName = kMainDaemonSocket)
        : code_(IPCServInit(socketName.c_str())) {}

    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    ~Session() {
        if (code_ == 0) {
            IPCServTerm();
        }
    }

    // 0, kInvalid for an empty name, kNoMemory. Whether a daemon listens shows itself with the
    // first request.
    [[nodiscard]] int Code() const {
        return code_;
    }

private:
    int code_;
};

// A text from the server with its entities replaced by their characters.
inline std::string Unescaped(std::string_view text) {
    std::string plain(text.size(), '\0');
    int capacity = static_cast<int>(plain.size());
    XmlUnescape(text.data(), static_cast<int>(text.size()), plain.data(), &capacity);
    plain.resize(static_cast<size_t>(capacity));
    return plain;
}

// A typed text in the form that a request may hold.
inline std::string Escaped(std::string_view text) {
    constexpr size_t kLongestEntity = 6;
    std::string escaped((text.size() + 1) * kLongestEntity, '\0');
    int capacity = static_cast<int>(escaped.size());
    XmlEscape(text.data(), static_cast<int>(text.size()), escaped.data(), &capacity);
    escaped.resize(static_cast<size_t>(capacity));
    return escaped;
}

} // namespace zrp::client
