// The one way to send a request: to which daemon, how it is traced, and what counts as a failure.
// Internal to the library.
#pragma once

#include <cstdint>

#include "../heap_text.h"
#include "../log/log_context.h"
#include "../request_hooks.h"
#include "../transport.h"
#include "../xml_reader.h"

#pragma GCC visibility push(hidden)

namespace zrp {

// A daemon as requests address it.
struct Peer {
    const char* socketName; // null for the default peer of IPCServInit
    uint32_t requestNumber;
    int32_t timeoutMs; // receive timeout; 0 waits forever
};

inline constexpr Peer kDefaultPeer = {nullptr, kMainDaemonRequest, 0};
inline constexpr Peer kMainDaemon = {kMainDaemonSocket, kMainDaemonRequest, 0};
inline constexpr Peer kStorageDaemon = {kStorageDaemonSocket, kStorageDaemonRequest, 0};
inline constexpr Peer kStorageDiagnostics = {kStorageDaemonSocket, kStorageDiagnosticRequest, 0};
inline constexpr Peer kManagementComponent = {kManagementSocket, kManagementRequest,
                                              kManagementTimeoutMs};

struct Query {
    Peer peer = kDefaultPeer;

    // The trace gets every request and reply, and a line for each failure.
    RequestHooks hooks = {};
    const char* operation = nullptr; // named in the line of a failed exchange; null for none
    bool dumpsReply = true;
    bool logsNoMemory = false; // a request that gets no memory has a line too

    // An error that the server reports in its reply fails the query.
    bool checksReply = true;
    ErrorText* errorText = nullptr; // for the server's words, or null
};

// The hooks that write to a log: dumps of request and reply, and failures at the error level. Empty
// for a null log. Replies have a length and no NUL, so that both dumps are LogLDump.
RequestHooks hooks_to(const LogContext* log);

// Sends the document, which is freed in every case, and hands over the reply. The document comes
// straight from its builder: a null one is reported by the builder's errno.
//
// Returns kOk; kInvalid for a null reply and when the builder refused an argument; kNoMemory
// without a document for another reason; the transport's code; or the server's error.
int send_query(const Query& query, HeapText document, uint32_t length, Reply* reply);

// The failure that the server reports in the reply: CheckForError (xml_reader.h), with errorText
// null or a buffer for the server's words.
int check_reply(const Reply& reply, ErrorText* errorText);

} // namespace zrp

#pragma GCC visibility pop
