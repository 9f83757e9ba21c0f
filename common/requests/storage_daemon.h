// Storage daemon: its counters, chosen by words, and the level of its log.
#pragma once
#include "../cplusplus.h"

#include <cstddef>
#include <cstdint>

#include "../log/log_context.h"
#include "../xml_reader.h"

namespace zrp {

inline constexpr int kMaxDiagnosticWords = 10;

// The request for those counters that have one of the words in their names. words is a text of up
// to kMaxDiagnosticWords words between blanks, commas or semicolons; null or no word asks for all,
// more words are refused. A resetAll other than 0 resets the counters. The document has room for
// about 7000 bytes. Like every diagnostics request it is sent inside the message of
// WrapDiagnosticRequest (diagnostics.h) with kStorageDiagnosticRequest, and
// ScanZrp2bksDiagnosticReply reads the counters of the reply.
char* BuildZrp2bksParmsRequest(int level, int resetAll, const char* words, uint32_t* length);

inline constexpr size_t kDiagnosticWordSize = 256; // with its terminator

struct DiagnosticChoice {
    int32_t level;
    int32_t resetAll; // 0 when the counters were not reset
    int32_t wordCount;
    char words[kMaxDiagnosticWords][kDiagnosticWordSize];
};

// What the daemon understood of such a request; a longer word is cut. Returns kOk, or kInvalid for
// a reply without a level and for one with more words.
int ScanZrp2bksParmsReply(char* reply, int replyLength, DiagnosticChoice* record);

// Changes the level of the daemon's log. options is a keyword as log files take it ("DEBUG",
// "LEVELDEBUG"). The request is sent with kStorageDaemonRequest.
char* BuildChangeLoggingLevelRequest(const char* options, uint32_t* length);

// Sends it; of the reply, it looks only at a failure.
int SetStorageLogLevel(const char* options, ErrorText* errorText, const LogContext* log);

} // namespace zrp
