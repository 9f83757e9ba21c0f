#include "tests/unit/finder_variants.h"

#define ZRP_WITHOUT_VECTORS
#define zrp zrp_without_vectors // beside the library's own
#include "common/xml_depth.cpp" // NOLINT(bugprone-suspicious-include)
#include "common/xml_find.cpp"  // NOLINT(bugprone-suspicious-include)

namespace zrp {

int scan_result() {
    return kOk;
}

} // namespace zrp
#undef zrp

int zrp::find_without_vectors(std::string_view tag, char* start, char* end, std::string* content) {
    zrp_without_vectors::XmlElement element;
    const int rc = zrp_without_vectors::FindElement(tag, start, end, &element);
    content->assign(element.contentStart, element.contentLength);
    return rc;
}
