// Volume information: the state of one volume, in the layout of the version that the server speaks.
//
// A record's layout follows from the reply's versionTag, not from the version asked for.
#pragma once

#include <cstddef>
#include <cstdint>

#include "volume_records.h"

namespace zrp {

inline constexpr int kVolumeInformationVersion = 5; // what the monitor asks for

inline constexpr size_t kMaxAskedVolumeName = 16; // characters of a name that can be asked for

// The request for one volume, malloc'ed. The name may be one out of a reply (xml_writer.h). Null
// with errno 22 for a name that is null, has more than 16 bytes or is not sendable, with errno
// 12 without memory.
char* BuildVolumeInformationRequest(const char* volumeName, uint32_t* length, int versionTag);

// The next volume of a reply. *offset is 0 before the first call and is moved behind the volume;
// *versionTag becomes the reply's version and says which layout *record has. Returns
//  - 0 with a record;
//  - 34 for a version above 6, with *versionTag stored;
//  - 22 for an empty reply, an offset at the end, a missing element, a name of more than 31
//    characters, and a version below 1 (with *versionTag stored);
//  - 12 without memory.
// A failure hands over no record, except that versions 1 and 2 hand over what was read so far when
// an element is missing.
int ScanVolumeInformationReply(char* reply, int replyLength, int* offset, int* versionTag,
                               VolumeRecord* record);

} // namespace zrp
