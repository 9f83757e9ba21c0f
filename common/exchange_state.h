// What the exchanges of this process are doing and how the last ones ended, daemon by daemon: for a
// thread that shows a user why another thread waits.
//
//     const ExchangeState state = GetExchangeState(DaemonId::kStorage);
//     if (state.phase == ExchangePhase::kWaiting && steady_clock::now() - state.since > 2s) {
//         show("storage daemon: (waiting)");
//     }
//
//  - Every function that makes exchanges (transport.h, ipc_context.h, requests/) keeps the record;
//    steps of an IPCClient that a program makes by itself do not show in it.
//  - A daemon is recognised by the name of its socket; the default peer counts as the main daemon.
//  - Any thread may ask at any time, and never waits for an exchange. After fork the child keeps
//    the results, and only its own exchanges are under way.
#pragma once
#include "cplusplus.h"

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "result.h"

namespace zrp {

enum class DaemonId : uint8_t { kMain, kStorage, kManagement };
inline constexpr size_t kDaemonCount = 3;

enum class ExchangePhase : uint8_t {
    kIdle,       // no exchange is under way
    kConnecting, // the daemon has not accepted yet
    kWaiting,    // connected: the request is sent, or its reply awaited or read
};

inline constexpr size_t kStateTextSize = 256; // with its terminator

struct ExchangeResult {
    std::chrono::steady_clock::time_point began; // the exchange
    int transportCode = kOk; // what IPCServRequestEx returned; ECANCELED when interrupted
    int replyCode = kOk;     // what was found in the reply, see NoteReplyResult
    char errorText[kStateTextSize] = ""; // the server's words for replyCode, cut; empty without any
};

struct ExchangeState {
    // Of the exchange that has been under way for longest.
    ExchangePhase phase = ExchangePhase::kIdle;
    std::chrono::steady_clock::time_point since; // when the phase began; not set while idle

    // To tell whether something failed between two looks, whatever came after it.
    uint64_t ended = 0;  // exchanges so far
    uint64_t failed = 0; // those of them with a code other than kOk

    ExchangeResult last;        // the exchange that ended last
    ExchangeResult lastFailure; // the same of those that failed; all kOk before the first
};

// Returns a copy.
ExchangeState GetExchangeState(DaemonId daemon);

// Says what was found in the reply to the last exchange with a daemon; errorText may be null. The
// library does so for an error that the server reports in the reply to a request of requests/, also
// where the operation does not fail for it. A program that checks replies by itself, or finds one
// that its scanner does not understand, may do so too. A code other than kOk makes a failure of the
// exchange, if it was none yet; kOk changes nothing.
void NoteReplyResult(DaemonId daemon, int replyCode, const char* errorText);

} // namespace zrp
