// Reads a reply whose command holds one record. Internal to the library.
#pragma once

#include <span>
#include <type_traits>

#include "../result.h"
#include "operation.h"
#include "reply_fields.h"

#pragma GCC visibility push(hidden)

namespace zrp {

// Reads the needed fields and those of the further ones that the server sent; the members of the
// others keep their values. Returns 0, or 22 for a null record, an empty reply (also a negative
// length) and when a needed element is missing; the record is then as it was.
template <typename Record>
int scan_record(char* reply, int length, const char* command, std::span<const ReplyField> needed,
                std::span<const ReplyField> further, Record* record) {
    static_assert(std::is_trivially_copyable_v<Record>);
    XmlElement element;
    if (record == nullptr || find_command(reply, length, command, &element) != kOk) {
        return kInvalid;
    }
    Record scanned = *record;
    const int rc = read_fields(needed.data(), needed.size(), element, &scanned);
    if (rc == kOk) {
        for (const ReplyField& field : further) {
            read_field(field, element, &scanned);
        }
        *record = scanned;
    }
    return rc;
}

} // namespace zrp

#pragma GCC visibility pop
