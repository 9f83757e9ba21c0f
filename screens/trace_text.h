// Documents in the debug trace.
#pragma once

#include <cstdint>

namespace zrp {

// Writes a document that has no terminator as "TAG: WHAT=", a line break, and the text in quotes.
// text may be null when length is not above 0; such a document shows as an empty one.
void trace_text(const char* tag, const char* what, const char* text, int32_t length);

} // namespace zrp
