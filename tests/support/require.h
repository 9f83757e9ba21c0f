// Checks of the drivers. A failure aborts the process, so that a fuzzer keeps the input.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/result.h"
#include "common/xml_reader.h"
#include "tests/support/exact_block.h"

#define REQUIRE(condition) ::zrp::require(condition, #condition)

namespace zrp {

inline void require(bool holds, const char* what) {
    if (!holds) {
        fprintf(stderr, "does not hold: %s\n", what);
        abort();
    }
}

inline void require_view(const ExactBlock& reply, const char* start, size_t size) {
    REQUIRE(start >= reply.begin() && start <= reply.end());
    REQUIRE(size <= static_cast<size_t>(reply.end() - start));
}

inline void require_element(const ExactBlock& reply, const XmlElement& element) {
    require_view(reply, element.tagEnd, 1);
    require_view(reply, element.elementEnd, 1);
    REQUIRE(*element.elementEnd == '>');
    if (element.contentStart == nullptr) {
        REQUIRE(element.contentEnd == nullptr && element.contentLength == 0);
        return;
    }
    require_view(reply, element.contentStart, element.contentLength);
    REQUIRE(element.contentEnd + 1 == element.contentStart + element.contentLength);
    REQUIRE(element.contentEnd < element.elementEnd);
}

// That the text has a terminating NUL.
template <size_t N>
void require_text(const char (&text)[N]) {
    REQUIRE(memchr(text, '\0', N) != nullptr);
}

// Calls scan(&offset) until it fails, and returns the result of the failure. A success must advance
// the offset within the reply; the failure must leave it unchanged.
template <typename Scan>
int scan_to_the_end(const ExactBlock& reply, Scan scan) {
    int offset = 0;
    for (int before = 0;; before = offset) {
        const int rc = scan(&offset);
        if (rc != kOk) {
            REQUIRE(offset == before);
            return rc;
        }
        REQUIRE(offset > before && offset <= reply.length());
    }
}

} // namespace zrp
