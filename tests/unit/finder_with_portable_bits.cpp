#include "tests/unit/finder_variants.h"

#define ZRP_PORTABLE_BITS
#define zrp zrp_portable_bits   // beside the library's own
#include "common/xml_depth.cpp" // NOLINT(bugprone-suspicious-include)
#include "common/xml_find.cpp"  // NOLINT(bugprone-suspicious-include)

namespace zrp {

int scan_result() {
    return kOk;
}

} // namespace zrp
#undef zrp

int zrp::find_with_portable_bits(std::string_view tag, char* start, char* end,
                                 std::string* content) {
    zrp_portable_bits::XmlElement element;
    const int rc = zrp_portable_bits::FindElement(tag, start, end, &element);
    content->assign(element.contentStart, element.contentLength);
    return rc;
}
