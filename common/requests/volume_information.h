// Volume information: the state of one volume, in the layout of the version that the server speaks.
//
// A record's layout follows from the reply's versionTag, not from the version asked for.
#pragma once
#include "../cplusplus.h"

#include <cstddef>
#include <cstdint>

#include "../log/log_context.h"
#include "../xml_reader.h"
#include "volume_records.h"

namespace zrp {

inline constexpr int kVolumeInformationVersion = 5; // what the monitor asks for
inline constexpr size_t kMaxAskedVolumeName = 16;   // bytes of a name that can be asked for,
                                                    // counted as those of kMaxVolumeName

// The request for one volume. The name may be one from a reply (xml_writer.h); a longer one than
// kMaxAskedVolumeName is refused.
char* BuildVolumeInformationRequest(const char* volumeName, uint32_t* length, int versionTag);

// The next volume of a reply. *offset is 0 before the first call and is moved past the volume;
// *versionTag becomes the reply's version and says which layout *record has. Returns
//  - kOk with a record;
//  - kRange for a version above kMaxVolumeInformationVersion, with *versionTag stored;
//  - kInvalid for an offset at the end, a missing element, a name that does not fit, and a version
//    below 1 (with *versionTag stored);
//  - kNoMemory.
// A failure returns no record, except that versions 1 and 2 return what was read so far when an
// element is missing.
int ScanVolumeInformationReply(char* reply, int replyLength, int* offset, int* versionTag,
                               VolumeRecord* record);

// Asks the default peer. *versionTag is the version to ask for and becomes the one of the reply. A
// name of more than kMaxVolumeName bytes is refused with kNameTooLong, though the builder takes it.
int GetVolumeInformation(const char* volumeName, int* versionTag, VolumeRecord* record,
                         ErrorText* errorText, const LogContext* log);

// Room for every word at once.
inline constexpr size_t kVolumeStatusTextSize = 256;

// Writes a word for each status bit that is set, each followed by a blank: "online mounted ". A
// clear mounted bit has a word too, so the text is never empty.
void formatVolumeStatus(uint32_t status, char (&text)[kVolumeStatusTextSize]);

} // namespace zrp
