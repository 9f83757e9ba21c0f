// What the functions of the C++ face return. client.h has the conventions.
#pragma once
#include "../cplusplus.h"

#include <string>

#include "../result.h"

namespace zrp::client {

struct Nothing {};

// A value, or why there is none.
template <typename T = Nothing>
struct [[nodiscard]] Answer {
    int code = kOk;    // of result.h, of the system, or of the server
    std::string error; // the server's words, which begin with its code; empty when it said none
    T value = {};      // empty unless code is kOk

    explicit operator bool() const {
        return code == kOk;
    }
};

// A failure for a person: the server's words if it said any, else a text for the code and the code.
template <typename T>
std::string Describe(const Answer<T>& answer) {
    return !answer.error.empty()
               ? answer.error
               : ResultText(answer.code) + (", code " + std::to_string(answer.code));
}

} // namespace zrp::client
