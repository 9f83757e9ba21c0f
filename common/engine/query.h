// The walk that all requests share: send a built document to its daemon and take the reply.
#pragma once

#include <cstdint>

#include "../heap_text.h"
#include "../transport.h"
#include "../xml_reader.h"

namespace zrp {

// A daemon as requests address it.
struct Peer {
    const char* socketName; // null for the default peer of IPCServInit
    uint32_t requestNumber;
    int32_t timeoutMs; // receive time-out; 0 waits for ever
};

inline constexpr Peer kDefaultPeer = {nullptr, kMainDaemonRequest, 0};
inline constexpr Peer kMainDaemon = {kMainDaemonSocket, kMainDaemonRequest, 0};
inline constexpr Peer kStorageDaemon = {kStorageDaemonSocket, kStorageDaemonRequest, 0};
inline constexpr Peer kStorageDiagnostics = {kStorageDaemonSocket, kStorageDiagnosticRequest, 0};
inline constexpr Peer kManagementComponent = {kManagementSocket, kManagementRequest,
                                              kManagementTimeoutMs};

// Optional trace operations of a caller; each may be null.
struct RequestHooks {
    void (*dump)(const char* text, uint64_t length) = nullptr; // every request and reply
    [[gnu::format(printf, 1, 2)]] void (*log)(const char* format, ...) = nullptr;
};

// The hooks of the operations that take none: none, unless the program installs some before its
// threads ask.
extern RequestHooks traceHooks;

// A reply and its length as the scanners take it. A reply of 2 GiB or more has a negative length,
// which every scanner takes for an empty one: nothing of it is looked at.
struct Reply {
    HeapText text;
    int32_t length = 0;
};

// Sends the document, which is freed in every case, and hands over the reply. hooks may be null; a
// failure is logged as "IPCServRequest rc=%d". Returns 0, 12 for a null document, or the
// transport's code.
int send_query(const Peer& peer, HeapText document, uint32_t length, const RequestHooks* hooks,
               Reply* reply);

// The same, and a failure that the server reports in its reply is returned too.
int send_checked_query(const Peer& peer, HeapText document, uint32_t length,
                       const RequestHooks* hooks, Reply* reply);

// The failure that the server reports in the reply: CheckForError (xml_reader.h), with errorText
// null or a buffer for the server's words.
int check_reply(const Reply& reply, ErrorText* errorText);

} // namespace zrp
