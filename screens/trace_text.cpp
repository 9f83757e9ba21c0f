#include "screens/trace_text.h"

#include "core/monitor.h"

namespace zrp {

void trace_text(const char* tag, const char* what, const char* text, int32_t length) {
    const bool empty = length <= 0;
    trace("%s: %s=\n\"%.*s\"\n\n", tag, what, empty ? 0 : length, empty ? "" : text);
}

} // namespace zrp
