// Exchanges in all the ways in which the transport offers them.
#pragma once

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>

#include <gtest/gtest.h>

#include "common/heap_text.h"
#include "common/result.h"
#include "common/transport.h"

namespace zrp {

// Every test leaves the transport without a default peer and not interrupted.
class Transport : public testing::Test {
protected:
    ~Transport() override {
        IPCServInit("reset");
        IPCServTerm();
    }

    static constexpr const char* kText = "<request/>";
    static constexpr int kEarlyEnd = 300; // milliseconds of a short receive timeout

    // The outcome of one exchange. The reply is copied so that the address sanitizer checks its
    // size.
    struct Answer {
        int rc = 0;
        uint64_t length = 0;
        bool null = true;
        std::string text;
    };

    // Calls a request function and collects its outputs.
    template <typename Entry>
    static Answer take(Entry entry) {
        uint64_t length = 7;
        char unowned = '#';
        char* reply = &unowned;
        Answer answer;
        answer.rc = entry(&length, &reply);
        const HeapText owned(reply);
        answer.length = length;
        answer.null = reply == nullptr;
        answer.text.assign(answer.null ? "" : reply, answer.null ? 0 : length);
        return answer;
    }

    static Answer ask(const char* name = kMainDaemonSocket, const std::string& text = kText) {
        return take([&](uint64_t* length, char** reply) {
            return IPCServRequestEx(name, kMainDaemonRequest, text.size(), text.data(), length,
                                    reply);
        });
    }

    static Answer ask_default() {
        return take([](uint64_t* length, char** reply) {
            return IPCServRequest(kMainDaemonRequest, strlen(kText), kText, length, reply);
        });
    }

    static Answer ask_in_time(int32_t timeoutMs) {
        return take([&](uint64_t* length, char** reply) {
            return IPCServRequestTimeout(kManagementSocket, kManagementRequest, strlen(kText),
                                         kText, length, reply, timeoutMs);
        });
    }

    static Answer ask_in_pieces(const std::string& part1, const std::string& part2) {
        return take([&](uint64_t* length, char** reply) {
            return IPCServRequest2(kMainDaemonRequest, part1.size(), part1.data(), part2.size(),
                                   part2.data(), length, reply);
        });
    }

    static void expect_nothing(const Answer& answer, int rc, uint64_t announced = 0) {
        EXPECT_EQ(answer.rc, rc);
        EXPECT_TRUE(answer.null);
        EXPECT_EQ(answer.length, announced);
    }

    static void expect_text(const Answer& answer, const std::string& text) {
        EXPECT_EQ(answer.rc, kOk);
        EXPECT_EQ(answer.length, text.size());
        EXPECT_EQ(answer.text, text);
    }

    static std::string words(std::initializer_list<uint32_t> values) {
        std::string bytes;
        for (const uint32_t value : values) {
            char raw[sizeof value];
            memcpy(raw, &value, sizeof value);
            bytes.append(raw, sizeof raw);
        }
        return bytes;
    }
};

} // namespace zrp
