// What the functions of the C++ face return. client.h has the conventions.
#pragma once

#include <cerrno>
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

namespace detail {

struct CodeWords {
    int code;
    const char* words;
};

inline constexpr CodeWords kCodeWords[] = {
    {kNotFound, "something is not there"},
    {kNoMemory, "no memory"},
    {kInvalid, "an argument or the reply is malformed or incomplete"},
    {kRange, "a list without an end, or an unknown version"},
    {kBadMagic, "whatever answered is no such daemon"},
    {kTooLong, "a text is too long"},
    {kShortHeader, "the daemon hung up before its reply"},
    {kNameTooLong, "the volume name is too long"},
    {ECONNREFUSED, "no daemon listens"},
    {ECANCELED, "interrupted"},
};

} // namespace detail

// A failure for a person: the server's words if it said any, else words for the code and the code.
template <typename T>
std::string Describe(const Answer<T>& answer) {
    if (!answer.error.empty()) {
        return answer.error;
    }
    std::string code = "code " + std::to_string(answer.code);
    for (const detail::CodeWords& row : detail::kCodeWords) {
        if (row.code == answer.code) {
            return row.words + (", " + code);
        }
    }
    return code;
}

} // namespace zrp::client
