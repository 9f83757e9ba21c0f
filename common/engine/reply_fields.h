// Reads the elements of a reply into the members of a record, by a table of fields.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "../xml_reader.h"

namespace zrp {

// How the text of an element becomes a member. "Automatic base" takes decimal, 0x-hexadecimal and
// 0-octal numbers; a text that is no number gives 0.
enum class FieldKind : uint8_t {
    kDecimal,   // int32_t or uint32_t, decimal
    kDecimal64, // int64_t, decimal; beyond 64 bits the nearest number
    kNumber32,  // uint32_t, automatic base
    kNumber64,  // uint64_t, automatic base
    kText,      // char[N]: NUL-terminated, cut to the array without splitting a UTF-8 sequence
};

// One row of a table: element name, conversion, place in the record.
struct ReplyField {
    const char* tag;
    FieldKind kind;
    size_t offset;
    size_t size;
};

// A row for a member: ZRP_FIELD(tag::status, kNumber32, VolumeInformation, status).
#define ZRP_FIELD(tag, kind, Record, member)                                                       \
    ::zrp::ReplyField {                                                                            \
        tag, ::zrp::FieldKind::kind, offsetof(Record, member), sizeof(Record::member)              \
    }

// Reads one field from the element of its name inside the outer element. Returns 0, or 22 when the
// element is missing; the member is then untouched.
int read_field(const ReplyField& field, const XmlElement& outer, void* record);

// Reads all rows in order and stops at the first that is missing. Returns 0, or 22.
int read_fields(const ReplyField* fields, size_t count, const XmlElement& outer, void* record);

template <size_t N, typename Record>
int read_fields(const ReplyField (&fields)[N], const XmlElement& outer, Record* record) {
    static_assert(std::is_standard_layout_v<Record>);
    return read_fields(fields, N, outer, static_cast<void*>(record));
}

} // namespace zrp
