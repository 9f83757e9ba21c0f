// What tests of operations against a spoilt zrpsim share: the faults, and how they show.
#pragma once

#include <cerrno>
#include <chrono>
#include <future>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/result.h"
#include "common/transport.h"

namespace zrp {

// What a fault makes of every operation.
enum class Effect {
    kNone,      // the operation goes on as it would without it
    kExchange,  // the exchange fails with the code, and the log says so
    kMalformed, // the reply holds nothing
    kHalved,    // only the first half of the reply is there
    kUnclosed,  // the innermost element that comes first is not closed
    kRefusal,   // the server's error, "5 simulated failure"
};

struct ServerFault {
    const char* kind; // null for none
    Effect effect;
    int code = 0;
};

inline constexpr int kSimulatedCode = 5;
inline constexpr const char* kSimulatedText = "5 simulated failure";

inline constexpr ServerFault kServerFaults[] = {
    {nullptr, Effect::kNone},
    {"drip", Effect::kNone},
    {"refuse", Effect::kExchange, ECONNREFUSED},
    {"drip-header", Effect::kExchange, kShortHeader},
    {"short-header", Effect::kExchange, kShortHeader},
    {"wrong-magic", Effect::kExchange, kBadMagic},
    {"swapped-magic", Effect::kExchange, kBadMagic},
    {"status", Effect::kExchange, kSimulatedCode},
    {"zero-length", Effect::kMalformed},
    {"garbage", Effect::kMalformed},
    {"early-close", Effect::kHalved},
    {"truncated", Effect::kHalved},
    {"unclosed", Effect::kUnclosed},
    {"error-reply", Effect::kRefusal},
};

inline std::ostream& operator<<(std::ostream& out, const ServerFault& fault) {
    return out << (fault.kind == nullptr ? "none" : fault.kind);
}

// The arguments of a zrpsim one of whose daemons spoils its replies.
inline std::vector<std::string> spoilt_server(const char* kind, const std::string& daemon) {
    std::vector<std::string> arguments = {"--clock", "1000"};
    if (kind != nullptr) {
        arguments.insert(arguments.end(), {"--fault", kind + (":" + daemon)});
    }
    return arguments;
}

// Runs an operation whose daemon never answers, breaks it off once it has been seen waiting, and
// lets later ones exchange again.
template <typename Run>
void expect_broken_off(Run run) {
    using namespace std::chrono_literals;
    auto exchange = std::async(std::launch::async, run);
    EXPECT_EQ(exchange.wait_for(40ms), std::future_status::timeout);
    IPCServInterrupt();
    ASSERT_EQ(exchange.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(exchange.get(), ECANCELED);
    IPCServInit(kMainDaemonSocket);
}

} // namespace zrp
