// The paged list of the server's volumes: its request and the scanners of a page.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zrp {

inline constexpr size_t kListedNameSize = 4096; // a listed name with its terminator
using ListedName = char[kListedNameSize];

// Bits of a volume's status that a list is asked for. volume_status.h has words for all.
inline constexpr uint32_t kVolumeMounted = 0x2;
inline constexpr uint32_t kVolumeOnStorageLayer = 0x40000000;

// What ScanStartIndex gives when no page follows.
inline constexpr int kNoNextPage = -1;

// A list is broken off after so many pages: a server that always names a next page would keep its
// caller for ever.
inline constexpr int kMaxVolumePages = 1024;

// The request for the page that begins at an index (0: the first), malloc'ed. Null without memory.
char* BuildListVolumesRequest(int startIndex, uint32_t* length);

// The next volume of a page. *offset is 0 before the first call and is moved behind the volume. An
// output may be null; its element is then not looked at. Returns 0, 22 for an empty reply, when no
// volume is left or when one lacks an element, 75 for a name that does not fit, 34 when the offset
// is at the end, 2 without a `listVolumes` element.
int ScanListVolumesReply(char* reply, int replyLength, int* offset, ListedName* name,
                         uint32_t* status, int32_t* volumeNumber);

// The same, with a number that 32 bits cannot hold as it stands: ScanListVolumesReply gives its low
// bits, which may be the number of another volume.
int scan_listed_volume(char* reply, int replyLength, int* offset, ListedName* name,
                       uint32_t* status, int64_t* volumeNumber);

// The index at which the next page begins, -1 when the page is the last.
void ScanStartIndex(char* reply, int replyLength, int* startIndex);

} // namespace zrp
