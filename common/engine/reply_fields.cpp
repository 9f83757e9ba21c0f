#include "common/engine/reply_fields.h"

#include <cstring>

#include "common/bounded_copy.h"
#include "common/engine/reply_list.h"
#include "common/range_number.h"
#include "common/result.h"

namespace zrp {
namespace {

template <typename Number>
void store(char* member, Number number) {
    memcpy(member, &number, sizeof number);
}

} // namespace

int read_field(const ReplyField& field, const XmlElement& outer, void* record) {
    XmlElement element;
    if (find_inside(outer, field.tag, &element) != kOk || element.contentStart == nullptr) {
        return kInvalid;
    }
    char* member = static_cast<char*>(record) + field.offset;
    const std::string_view text(element.contentStart, element.contentLength);
    switch (field.kind) {
    case FieldKind::kDecimal:
        store(member, static_cast<uint32_t>(leading_decimal(text)));
        break;
    case FieldKind::kDecimal64:
        store(member, leading_decimal(text));
        break;
    case FieldKind::kNumber32:
        store(member, static_cast<uint32_t>(leading_number(text)));
        break;
    case FieldKind::kNumber64:
        store(member, leading_number(text));
        break;
    case FieldKind::kText:
        copy_cut(member, field.size, element.contentStart, element.contentLength);
        break;
    }
    return kOk;
}

int read_fields(const ReplyField* fields, size_t count, const XmlElement& outer, void* record) {
    for (size_t i = 0; i < count; i++) {
        if (read_field(fields[i], outer, record) != kOk) {
            return kInvalid;
        }
    }
    return kOk;
}

} // namespace zrp
