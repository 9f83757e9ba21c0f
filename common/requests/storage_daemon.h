// Storage daemon: its counters, chosen by words, and the level of its log.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zrp {

inline constexpr int kMaxDiagnosticWords = 10;

// The request for those counters that have one of the words in their names, malloc'ed. words is a
// text of up to kMaxDiagnosticWords words between blanks, commas or semicolons; null or no word
// asks for all. A resetAll that is not 0 sets the counters back. The document has room for about
// 7000 characters. Like every diagnostics request it is sent inside WrapDiagnosticRequest
// (diagnostics.h) with kStorageDiagnosticRequest, and ScanZrp2bksDiagnosticReply reads the counters
// of the reply. Null with errno 22 for more words and a text that is not sendable, else 12.
char* BuildZrp2bksParmsRequest(int level, int resetAll, const char* words, uint32_t* length);

inline constexpr size_t kDiagnosticWordSize = 256; // with its terminator

struct DiagnosticChoice {
    int32_t level;
    int32_t resetAll; // 0 when the counters were not set back
    int32_t wordCount;
    char words[kMaxDiagnosticWords][kDiagnosticWordSize];
};

// What the daemon understood of such a request; a longer word is cut. Returns 0, or 22 for an empty
// reply (also a negative length), one without a level, and one with more words; the record is then
// as it was.
int ScanZrp2bksParmsReply(char* reply, int replyLength, DiagnosticChoice* record);

// The request that changes the level of the daemon's log, malloc'ed. options is a keyword as log
// files take it ("DEBUG", "LEVELDEBUG"). It is sent with kStorageDaemonRequest. Null with errno 22
// for a text that is not sendable, else 12.
char* BuildChangeLoggingLevelRequest(const char* options, uint32_t* length);

} // namespace zrp
