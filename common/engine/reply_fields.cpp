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

// The children of an item, for all fields of a table. The table has no tag twice, and mostly the
// children's order.
struct ListedChildren {
    PlainChildren children;
    size_t next = 0; // the fields read so far were the children before it, one by one
};

bool is_named(const PlainChild& child, std::string_view tag) {
    return child.tagLength == tag.size() && same_bytes(child.tag, tag.data(), tag.size());
}

const PlainChild* find_child(ListedChildren& listed, std::string_view tag) {
    const PlainChildren& children = listed.children;
    if (listed.next < children.count && is_named(children.list[listed.next], tag)) {
        return &children.list[listed.next++];
    }
    listed.next = children.count;
    const PlainChild* const end = children.list + children.count;
    const PlainChild* child = std::find_if(
        children.list, end, [&](const PlainChild& each) { return is_named(each, tag); });
    return child != end ? child : nullptr;
}

int read_listed(ListedChildren& listed, const ReplyField& field, void* record) {
    const PlainChild* child = find_child(listed, field.tag);
    return child != nullptr ? store_field(field, {child->content, child->contentLength}, record)
                            : int{kInvalid};
}

} // namespace

int find_in_reply(char* reply, int length, const char* tag, XmlElement* element) {
    if (reply == nullptr || length <= 0) {
        return kNotFound;
    }
    return FindElement(tag, reply, reply + length, element);
}

int find_inside(const XmlElement& outer, const char* tag, XmlElement* element) {
    if (outer.contentStart == nullptr) {
        return kNotFound;
    }
    return FindElement(tag, outer.contentStart, outer.contentEnd + 1, element);
}

int find_optional(const XmlElement& outer, const char* tag, XmlElement* element) {
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
    if (rc != kOk || element.contentStart == nullptr) {
        return failure_of(rc, kInvalid);
    }
    return store_field(field, {element.contentStart, element.contentLength}, record);
}

int read_fields(std::span<const ReplyField> fields, const XmlElement& outer, void* record) {
    ListedChildren listed;
    const bool isPlain =
        fields.size() > 1 && outer.contentStart != nullptr &&
        list_plain_children(outer.contentStart, outer.contentEnd + 1, &listed.children);
    for (const ReplyField& field : fields) {
        const int rc =
            isPlain ? read_listed(listed, field, record) : read_field(field, outer, record);
        if (rc != kOk && (rc != kInvalid || !field.isOptional)) {
            return rc;
        }
    }
    return kOk;
}

} // namespace zrp
