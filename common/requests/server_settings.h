// Settings of the main daemon, as its configuration names them: their list, the value of one, and
// setting one.
#pragma once

#include <cstddef>
#include <cstdint>

#include "../engine/query.h"

namespace zrp {

inline constexpr int kSetVersion = 1;
inline constexpr int kSetAttributes = 1;

// Room for a name or a value with its terminator; a longer one is cut.
inline constexpr size_t kSettingTextSize = 4096;
using SettingText = char[kSettingTextSize];

// The request document, malloc'ed. Without name and value it asks for the list of names, with a
// name for its value, with a name and a value that is not empty it sets it. The name may be one out
// of a reply (xml_writer.h). Null with errno 22 for a value without a name and for a text that is
// not sendable, with errno 12 for a name that does not fit and without memory.
char* BuildSetRequest(uint32_t* length, int versionTag, int attributes, const char* name,
                      const char* value);

// The next text of a reply. *offset is 0 before the first call and is moved behind the element.
//  - With a nameBuffer: the next name of a list, and into valueBuffer, when given, the value that
//    stands beside it (empty without one).
//  - Without: the next value into valueBuffer.
// Returns 0, 22 for an empty reply, one without `set` element or when nothing is left, 34 when the
// offset is at the end.
int ScanSetReply(char* reply, int replyLength, int* offset, SettingText* nameBuffer,
                 SettingText* valueBuffer);

// Asks the main daemon for the list of names (a null name) or for the value of one. Returns 0 with
// a reply to scan, 12 when the request could not be built, the transport's code or the server's
// error.
int QuerySettings(const char* name, Reply* reply);

} // namespace zrp
