// The walk through the items of a reply's list, which all scanners share. Internal to the library.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

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
    std::string_view path[kMaxListPath]; // empty after the last
    std::string_view item;
    std::span<const ReplyField> fields = {}; // of an item
    int missing = kInvalid;                  // result when an element of the path is missing
    int pastEnd = kRange;                    // result when the offset is not inside the reply
    int noneLeft = kInvalid;                 // result when no item is left
};

// The next item of the reply. *offset is 0 before the first call and becomes the place after the
// item. Returns kOk; kInvalid for an empty reply; or one of the list's own codes.
int next_item(const ReplyList& list, char* reply, int length, int* offset, XmlElement* item);
int next_item(const ReplyList& list, char* reply, int length, int* offset, ReplyItem* item);

// memset() with zeros and memcpy(). Compilers put a string instruction in the place of a call with
// a size that they know, which takes longer to start than all of a record takes.
void clear_record(void* record, size_t size);
void copy_record(void* record, const void* filled, size_t size);

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
    std::conditional_t<std::is_invocable_v<Read, XmlElement>, XmlElement, ReplyItem> item;
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
    using Item =
        std::conditional_t<std::is_invocable_v<Read, XmlElement, Record&>, XmlElement, ReplyItem>;
    return scan_next(list, reply, length, offset, [&](const Item& item) {
        Record filled;
        clear_record(&filled, sizeof filled);
        const int rc = read(item, filled);
        if (rc == kOk) {
            copy_record(record, &filled, sizeof filled);
        }
        return rc;
    });
}

// The same for an item that is nothing but the list's fields.
template <typename Record>
int scan_record(const ReplyList& list, char* reply, int length, int* offset, Record* record) {
    return scan_record(list, reply, length, offset, record,
                       [&](const ReplyItem& item, Record& filled) {
                           return read_fields(list.fields, item, &filled);
                       });
}

// Whether the list is in the reply as a whole: its outermost element and those of the path are
// closed. Returns kOk, kInvalid, or the code of a scan that was broken off.
int check_list(const ReplyList& list, const Reply& reply);

// What a scanner's failure at that offset means. Returns kOk for the end of the list, where no
// further item begins; kInvalid for an item that is malformed; other failures as they are.
int end_of_list(const ReplyList& list, char* reply, int length, int offset, int rc);

// Calls callback(record) for every record that scan(&offset, &record) reads. Returns kOk after the
// last one; kInvalid before the first one of a list that was cut, and for an item that is
// malformed; another failure of the scanner; or what the callback returned to stop. *count, when
// given, is the number of records read.
template <typename Record, typename Scan, typename Callback>
int visit_records(const ReplyList& list, const Reply& reply, Scan scan, Callback callback,
                  int* count = nullptr) {
    int rc = check_list(list, reply);
    int offset = 0;
    for (int read = 0; rc == kOk; read++) {
        if (count != nullptr) {
            *count = read;
        }
        Record record = {};
        rc = scan(&offset, &record);
        if (rc != kOk) {
            return end_of_list(list, reply.text.get(), reply.length, offset, rc);
        }
        rc = callback(record);
    }
    return rc;
}

// The same for a scanner and a callback of the library.
template <typename Record>
int visit_list(const ReplyList& list, const Reply& reply,
               int (*scan)(char* reply, int replyLength, int* offset, Record* record),
               int (*callback)(void* context, const Record& record), void* context,
               int* count = nullptr) {
    return visit_records<Record>(
        list, reply,
        [&](int* offset, Record* record) {
            return scan(reply.text.get(), reply.length, offset, record);
        },
        [&](const Record& record) { return callback(context, record); }, count);
}

} // namespace zrp

#pragma GCC visibility pop
