// Request and reply documents in the debug trace.
#pragma once

#include <cstdint>

namespace zrp {

// Writes "TAG: WHAT=", a line break, and the document in quotes. The document needs no terminator.
// A length of 0 or less writes an empty document; text may be null then.
void trace_text(const char* tag, const char* what, const char* text, int32_t length);

} // namespace zrp
