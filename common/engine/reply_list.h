// The walk through the items of a reply's list, which all scanners share. Internal to the library.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>

#include "../heap_text.h"
#include "../result.h"
#include "../xml_reader.h"
#include "reply_fields.h"

#pragma GCC visibility push(hidden)

namespace zrp {

inline constexpr int kMaxListPath = 3;

// Where the items of a reply are: the first item is looked for from the content of the last element
// of the path on, each path element inside the one before it.
struct ReplyList {
    const char* path[kMaxListPath]; // null after the last
    const char* item;
    std::span<const ReplyField> fields = {}; // of an item
    int missing = kInvalid;                  // result when an element of the path is missing
    int pastEnd = kRange;                    // result when the offset is not inside the reply
    int noneLeft = kInvalid;                 // result when no item is left
};

// The next item of the reply. *offset is 0 before the first call and becomes the place after the
// item. Returns kOk; kInvalid for an empty reply; or one of the list's own codes.
int next_item(const ReplyList& list, char* reply, int length, int* offset, XmlElement* item);

// Reads the next item: read(item) takes what it needs and returns kOk or its failure, on which it
// leaves all outputs alone. The offset moves only on success. An item is read once only, since one
// whose CDATA markers were taken out does not read the same a second time.
//
// Returns kOk; kInvalid for a null offset; next_item's code; or read's.
template <typename Read>
int scan_next(const ReplyList& list, char* reply, int length, int* offset, Read read) {
    if (offset == nullptr) {
        return kInvalid;
    }
    XmlElement item;
    int next = *offset;
    int rc = next_item(list, reply, length, &next, &item);
    if (rc == kOk) {
        rc = read(item);
    }
    if (rc == kOk) {
        *offset = next;
    }
    return rc;
}

// The same into a record, which changes only when all of it was read: read(item, filled) fills a
// new one. Returns kInvalid also for a null record.
template <typename Record, typename Read>
int scan_record(const ReplyList& list, char* reply, int length, int* offset, Record* record,
                Read read) {
    if (record == nullptr) {
        return kInvalid;
    }
    return scan_next(list, reply, length, offset, [&](const XmlElement& item) {
        Record filled = {};
        const int rc = read(item, filled);
        if (rc == kOk) {
            memcpy(record, &filled, sizeof filled);
        }
        return rc;
    });
}

// The same for an item that is nothing but the list's fields.
template <typename Record>
int scan_record(const ReplyList& list, char* reply, int length, int* offset, Record* record) {
    return scan_record(list, reply, length, offset, record,
                       [&](const XmlElement& item, auto& filled) {
                           return read_fields(list.fields, item, &filled);
                       });
}

// What a walk makes of the scanner's failure that ends it.
enum class WalkEnd : uint8_t {
    kAtTheEnd,     // kRange is the end of the list; anything else is a failure
    kAtAnyFailure, // a record that cannot be read ends the list as well
};

// Calls callback(record) for every record that scan(&offset, &record) reads. Returns kOk after the
// last one, the scanner's failure, or what the callback returned to stop. *count, when given, is
// the number of records read.
template <typename Record, typename Scan, typename Callback>
int visit_records(WalkEnd end, Scan scan, Callback callback, int* count = nullptr) {
    int offset = 0;
    for (int read = 0;; read++) {
        if (count != nullptr) {
            *count = read;
        }
        Record record = {};
        int rc = scan(&offset, &record);
        if (rc != kOk) {
            return rc == kRange || end == WalkEnd::kAtAnyFailure ? int{kOk} : rc;
        }
        rc = callback(record);
        if (rc != kOk) {
            return rc;
        }
    }
}

} // namespace zrp

#pragma GCC visibility pop
