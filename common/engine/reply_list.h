// The walk through the items of a reply's list that all scanners share.
#pragma once

#include "../result.h"
#include "../xml_reader.h"

namespace zrp {

inline constexpr int kMaxListPath = 3;

// Where the items of a reply stand: the first item is looked for from the content of the last
// element of the path on, each path element inside the one before it.
struct ReplyList {
    const char* path[kMaxListPath]; // null behind the last
    const char* item;
    int missing = kInvalid;  // result when an element of the path is missing
    int pastEnd = kRange;    // result when the offset is at or behind the end of the reply
    int noneLeft = kInvalid; // result when no item is left
};

// The next item of the reply. *offset is 0 before the first call and becomes the place behind the
// item. Returns 0; 22 for an empty reply (also a negative length); or one of the list's own codes.
int next_item(const ReplyList& list, char* reply, int length, int* offset, XmlElement* item);

// Looks for an element anywhere in a reply. Returns 0; 2 also for an empty reply.
int find_in_reply(char* reply, int length, const char* tag, XmlElement* element);

// Looks for an element inside another; a self-closing one holds nothing. Returns 0, or 2.
int find_inside(const XmlElement& outer, const char* tag, XmlElement* element);

} // namespace zrp
