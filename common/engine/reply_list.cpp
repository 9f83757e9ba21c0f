#include "common/engine/reply_list.h"

namespace zrp {
namespace {

// The content of the last element of the path, or the whole reply for an empty path.
int enter_path(const ReplyList& list, char* reply, char* end, char** start) {
    *start = reply;
    char* innerEnd = end;
    for (const char* tag : list.path) {
        if (tag == nullptr) {
            break;
        }
        XmlElement element;
        if (FindElement(tag, *start, innerEnd, &element) != kOk) {
            return list.missing;
        }
        *start = element.contentStart;
        innerEnd = element.contentStart == nullptr ? nullptr : element.contentEnd + 1;
    }
    return kOk;
}

} // namespace

int next_item(const ReplyList& list, char* reply, int length, int* offset, XmlElement* item) {
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
    if (start == nullptr || FindElement(list.item, start, end, item) != kOk) {
        return list.noneLeft;
    }
    *offset = static_cast<int>(item->elementEnd + 1 - reply);
    return kOk;
}

} // namespace zrp
