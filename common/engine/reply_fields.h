// Reads the elements of a reply into the members of a record, by a table of fields. Internal to the
// library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>

#include "../xml_reader.h"
#include "../xml_scan.h"

#pragma GCC visibility push(hidden)

namespace zrp {

// Looks for an element anywhere in a reply. Returns kOk, or kNotFound, also for an empty reply.
int find_in_reply(char* reply, int length, std::string_view tag, XmlElement* element);

// Looks for an element inside another; a self-closing one holds nothing. Returns kOk or kNotFound.
int find_inside(const XmlElement& outer, std::string_view tag, XmlElement* element);

// The same for an element that may be missing, which leaves the output alone. Returns kOk, or
// kNotFound for one that begins and is not whole.
int find_optional(const XmlElement& outer, std::string_view tag, XmlElement* element);

// How the text of an element becomes a member. "Automatic base" takes decimal, 0x-hexadecimal and
// 0-octal numbers; a text that is no number gives 0.
enum class FieldKind : uint8_t {
    kDecimal,   // int32_t or uint32_t, decimal
    kDecimal64, // int64_t, decimal; beyond 64 bits the nearest number
    kNumber32,  // uint32_t, automatic base
    kNumber64,  // uint64_t, automatic base
    kFraction,  // float, with a decimal point whatever the locale says
    kText,      // char[N]: NUL-terminated, cut to the array without splitting a UTF-8 sequence
    kWholeText, // char[N]: NUL-terminated, and kTooLong where it would be cut
};

// One row of a table: element name, conversion, place in the record.
struct ReplyField {
    std::string_view tag;
    size_t offset;
    size_t size;
    FieldKind kind;
    bool isOptional = false; // not sent by every server; the member then keeps its value
};

// A row for a member: ZRP_FIELD(tag::status, kNumber32, VolumeInformation, status).
#define ZRP_FIELD(tag, kind, Record, member)                                                       \
    ::zrp::ReplyField {                                                                            \
        tag, offsetof(Record, member), sizeof(Record::member), ::zrp::FieldKind::kind              \
    }

#define ZRP_OPTIONAL_FIELD(tag, kind, Record, member)                                              \
    ::zrp::ReplyField {                                                                            \
        tag, offsetof(Record, member), sizeof(Record::member), ::zrp::FieldKind::kind, true        \
    }

// A row for a record that is nothing but one text buffer.
template <typename Text>
constexpr ReplyField whole_text(std::string_view tag) {
    static_assert(std::is_array_v<Text>);
    return {tag, 0, sizeof(Text), FieldKind::kText};
}

// Stores the content of an element in the field's member. Returns kOk, or kTooLong; the member is
// then untouched.
int store_field(const ReplyField& field, std::string_view text, void* record);

// Reads one field from the element of its name inside the outer element. Returns kOk, or kInvalid
// when the element is missing or self-closing, or kTooLong; the member is then untouched.
int read_field(const ReplyField& field, const XmlElement& outer, void* record);

// Reads all rows in order and stops at the first that is missing and not optional. No row has the
// tag of another one. Returns kOk, kInvalid or kTooLong.
int read_fields(std::span<const ReplyField> fields, const XmlElement& outer, void* record);
int read_fields(std::span<const ReplyField> fields, const ReplyItem& item, void* record);

} // namespace zrp

#pragma GCC visibility pop
