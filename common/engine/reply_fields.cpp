#include "common/engine/reply_fields.h"

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cstring>

#include "common/bounded_copy.h"
#include "common/range_number.h"
#include "common/result.h"
#include "common/thread_limits.h"
#include "common/xml_scan.h"

namespace zrp {
namespace {

constexpr size_t kFractionSize = 80; // with its terminator

template <typename Number>
void store(char* member, Number number) {
    memcpy(member, &number, sizeof number);
}

float to_fraction(std::string_view text) {
    char number[kFractionSize];
    copy_cut(number, text.data(), text.size());
    // The system's own, not a copy: it costs nothing and cannot fail.
    locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    return static_cast<float>(strtod_l(number, nullptr, plain));
}

int store_content(const ReplyField& field, const XmlElement& element, void* record) {
    return element.contentStart != nullptr
               ? store_field(field, {element.contentStart, element.contentLength}, record)
               : int{kInvalid};
}

} // namespace

int find_in_reply(char* reply, int length, std::string_view tag, XmlElement* element) {
    if (reply == nullptr || length <= 0) {
        return kNotFound;
    }
    return FindElement(tag, reply, reply + length, element);
}

int find_inside(const XmlElement& outer, std::string_view tag, XmlElement* element) {
    if (outer.contentStart == nullptr) {
        return kNotFound;
    }
    return FindElement(tag, outer.contentStart, outer.contentEnd + 1, element);
}

int find_optional(const XmlElement& outer, std::string_view tag, XmlElement* element) {
    const int rc = find_inside(outer, tag, element);
    if (rc != kNotFound || outer.contentStart == nullptr) {
        return failure_of(rc, kOk);
    }
    const char* opening = nullptr;
    const int search = find_opening(tag, outer.contentStart, outer.contentEnd + 1, &opening);
    return search == kNotFound ? kOk : failure_of(search, kNotFound);
}

int store_field(const ReplyField& field, std::string_view text, void* record) {
    char* member = static_cast<char*>(record) + field.offset;
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
    case FieldKind::kFraction:
        store(member, to_fraction(text));
        break;
    case FieldKind::kWholeText:
        if (text.size() >= field.size) {
            return kTooLong;
        }
        [[fallthrough]];
    case FieldKind::kText:
        copy_cut(member, field.size, text.data(), text.size());
        break;
    }
    return kOk;
}

int read_field(const ReplyField& field, const XmlElement& outer, void* record) {
    XmlElement element;
    const int rc = find_inside(outer, field.tag, &element);
    return rc == kOk ? store_content(field, element, record) : failure_of(rc, kInvalid);
}

int read_fields(std::span<const ReplyField> fields, const ReplyItem& item, void* record) {
    size_t next = 0;
    for (const ReplyField& field : fields) {
        XmlElement element;
        int rc = find_next_child(item, field.tag, &element, &next);
        rc = rc == kOk ? store_content(field, element, record) : failure_of(rc, kInvalid);
        if (rc != kOk && (rc != kInvalid || !field.isOptional)) {
            return rc;
        }
    }
    return kOk;
}

int read_fields(std::span<const ReplyField> fields, const XmlElement& outer, void* record) {
    ReplyItem item;
    static_cast<XmlElement&>(item) = outer;
    if (fields.size() > 1) {
        list_children(&item);
    }
    return read_fields(fields, item, record);
}

} // namespace zrp
