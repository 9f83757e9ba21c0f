// Diagnostics: the internal counters of the main daemon and of the storage daemon.
//
// Both daemons answer the same way in words of their own; what differs stands in one record each.
#pragma once

#include <cstddef>
#include <cstdint>

#include "../engine/query.h"
#include "../engine/reply_list.h"
#include "../tags.h"

namespace zrp {

inline constexpr int kDiagnosticsLevel = 1;
inline constexpr size_t kDiagnosticNameSize = 72;
using DiagnosticName = char[kDiagnosticNameSize];

struct DiagnosticsDaemon {
    Peer peer;
    const char* outer; // the elements of the request
    const char* command;
    const char* level;
    ReplyList counters;
    bool wrapped; // the document travels inside a binary message
};

inline constexpr DiagnosticsDaemon kServerDiagnostics = {
    kMainDaemon,
    tag::zrpConsoleRequest,
    tag::diagnostics,
    tag::diagLevel,
    {{tag::zrpConsoleReply, tag::diagnostics, tag::diagLevel}, tag::diagValue},
    false,
};

// The request's command repeats its outer element: the daemon expects it so.
inline constexpr DiagnosticsDaemon kBksDiagnostics = {
    kStorageDiagnostics,
    diagnostic::zrp2bksDiagnosticRequest,
    diagnostic::zrp2bksDiagnosticRequest,
    diagnostic::level,
    {{diagnostic::zrp2bksDiagnosticReply, diagnostic::level}, diagnostic::zrp2bksValue},
    true,
};

// The request documents, malloc'ed. A resetAll that is not 0 sets the counters back. Null without
// memory.
char* BuildDiagnosticsRequest(uint32_t* length, int level, int resetAll);
char* BuildZrp2bksDiagnosticRequest(uint32_t* length, int level, int resetAll);

// The binary message in which the storage daemon's request travels, malloc'ed, of length + 32
// bytes in host byte order: 24, 1 and length + 1 as words, the document with its NUL, 19 zero
// bytes. Null without memory.
char* WrapDiagnosticRequest(const char* document, uint32_t length, uint32_t* messageLength);

// The next counter of a reply: <diagValue value="VALUE">NAME</diagValue>. *cursor is 0 before the
// first call and is moved behind the element. The name is cut to its array; the value wraps to 32
// bits. Returns 0; 22 for an empty reply, one that is not of this kind, when no counter is left and
// for a counter without a value (its name and the cursor are set all the same); 34 when the cursor
// is at the end.
int ScanDiagnosticsReply(char* reply, int replyLength, int* cursor, DiagnosticName& name,
                         int32_t* value);
int ScanZrp2bksDiagnosticReply(char* reply, int replyLength, int* cursor, DiagnosticName& name,
                               int32_t* value);

// The same for either daemon.
int ScanDiagnostics(const DiagnosticsDaemon& daemon, char* reply, int replyLength, int* cursor,
                    DiagnosticName& name, int32_t* value);

// The daemon's request as it goes on the wire, with level 1 and without reset. Null without memory.
HeapText BuildDiagnosticsMessage(const DiagnosticsDaemon& daemon, uint32_t* length);

} // namespace zrp
