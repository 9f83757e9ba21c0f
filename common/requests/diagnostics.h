// Diagnostics: the internal counters of the main daemon and of the storage daemon. Both daemons
// answer the same way in words of their own.
#pragma once
#include "../cplusplus.h"

#include <cstddef>
#include <cstdint>

namespace zrp {

inline constexpr int kDiagnosticsLevel = 1;
inline constexpr size_t kDiagnosticNameSize = 72;
using DiagnosticName = char[kDiagnosticNameSize];

// A resetAll other than 0 resets the counters. The storage daemon's document travels inside the
// message of WrapDiagnosticRequest, with request number kStorageDiagnosticRequest.
char* BuildDiagnosticsRequest(uint32_t* length, int level, int resetAll);
char* BuildZrp2bksDiagnosticRequest(uint32_t* length, int level, int resetAll);

// The binary message in which the storage daemon's request travels, malloc'ed, of length + 32
// bytes in host byte order: 24, 1 and length + 1 as words, the document with its NUL, 19 zero
// bytes.
char* WrapDiagnosticRequest(const char* document, uint32_t length, uint32_t* messageLength);

// The next counter of a reply: <diagValue value="VALUE">NAME</diagValue>. *cursor is 0 before the
// first call and is moved past the element. The name is cut to its array; the value wraps to 32
// bits. Returns kOk; kInvalid for a reply of another kind, when no counter is left and for a
// counter without a value (its name and the cursor are set all the same); kRange when the cursor is
// at the end.
int ScanDiagnosticsReply(char* reply, int replyLength, int* cursor, DiagnosticName& name,
                         int32_t* value);
int ScanZrp2bksDiagnosticReply(char* reply, int replyLength, int* cursor, DiagnosticName& name,
                               int32_t* value);

} // namespace zrp
