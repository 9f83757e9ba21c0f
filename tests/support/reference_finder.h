// The element finder once more, written for plainness alone: one byte at a time, into a copy. It is
// what the library's finder is compared with.
#pragma once

#include <string>
#include <string_view>

namespace zrp {

struct ReferenceMatch {
    bool found = false;
    bool selfClosing = false;
    std::string content;    // with the CDATA markers taken out
    size_t markup = 0;      // place of the opening tag's '<'
    size_t elementEnd = 0;  // place of the last '>', the markers still counted
    size_t markerBytes = 0; // taken out of the content
};

ReferenceMatch reference_find(std::string_view tag, std::string_view range);

} // namespace zrp
