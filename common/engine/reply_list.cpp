#include "common/engine/reply_list.h"

#include "common/thread_limits.h"
#include "common/xml_scan.h"

namespace zrp {
namespace {

// The content of the last element of the path, or the whole reply for an empty path.
int enter_path(const ReplyList& list, char* reply, char* end, char** start) {
    *start = reply;
    char* innerEnd = end;
    EnclosingElement enclosing;
    for (const std::string_view tag : list.path) {
        if (tag.empty()) {
            break;
        }
        XmlElement element;
        if (const int rc = find_inner(tag, *start, innerEnd, &element, &enclosing); rc != kOk) {
            return failure_of(rc, list.missing);
        }
        *start = element.contentStart;
        innerEnd = element.contentStart == nullptr ? nullptr : element.contentEnd + 1;
    }
    return kOk;
}

int find(std::string_view tag, char* start, char* end, XmlElement* element) {
    return FindElement(tag, start, end, element);
}

int find(std::string_view tag, char* start, char* end, ReplyItem* item) {
    return find_item(tag, start, end, item);
}

template <typename Item>
int find_next(const ReplyList& list, char* reply, int length, int* offset, Item* item) {
    if (reply == nullptr || length <= 0) {
        return kInvalid;
    }
    if (*offset < 0 || *offset >= length) {
        return list.pastEnd;
    }
    char* end = reply + length;
    char* start = reply + *offset;
    if (*offset == 0) {
        const int rc = enter_path(list, reply, end, &start);
        if (rc != kOk) {
            return rc;
        }
    }
    int rc = start != nullptr ? find(list.item, start, end, item) : int{kNotFound};
    if (rc != kOk) {
        return failure_of(rc, list.noneLeft);
    }
    const auto next = static_cast<int>(item->elementEnd + 1 - reply);
    if (next / kLookDistance != *offset / kLookDistance) {
        rc = scan_result();
    }
    if (rc == kOk) {
        *offset = next;
    }
    return rc;
}

} // namespace

int next_item(const ReplyList& list, char* reply, int length, int* offset, XmlElement* item) {
    return find_next(list, reply, length, offset, item);
}

int next_item(const ReplyList& list, char* reply, int length, int* offset, ReplyItem* item) {
    return find_next(list, reply, length, offset, item);
}

[[gnu::noinline]] void clear_record(void* record, size_t size) {
    memset(record, 0, size);
}

[[gnu::noinline]] void copy_record(void* record, const void* filled, size_t size) {
    memcpy(record, filled, size);
}

int check_list(const ReplyList& list, const Reply& reply) {
    if (reply.length <= 0) {
        return kInvalid;
    }
    char* start = reply.text.get();
    char* end = start + reply.length;
    XmlElement outermost;
    char* name = nullptr;
    size_t nameLength = 0;
    int rc = NextElement(start, end, &outermost, &name, &nameLength);
    if (rc == kOk) {
        rc = enter_path(list, start, end, &start);
    }
    return rc == kOk ? rc : failure_of(rc, kInvalid);
}

int end_of_list(const ReplyList& list, char* reply, int length, int offset, int rc) {
    if (rc != kInvalid && rc != kRange && rc != kNotFound) {
        return rc;
    }
    char* start = reply + offset;
    char* end = reply + length;
    if (offset == 0 && enter_path(list, start, end, &start) != kOk) {
        return kInvalid;
    }
    const char* item = nullptr;
    rc = start != nullptr ? find_opening(list.item, start, end, &item) : int{kNotFound};
    return rc == kNotFound ? kOk : failure_of(rc, kInvalid);
}

} // namespace zrp
