// The server's volumes: the paged list, its request and the scanners of a page, and walks over all
// pages.
#pragma once
#include "../cplusplus.h"

#include <cstddef>
#include <cstdint>

#include "../request_hooks.h"

namespace zrp {

inline constexpr size_t kListedNameSize = 4096; // a listed name with its terminator
using ListedName = char[kListedNameSize];

// Bits of a volume's status; formatVolumeStatus (volume_information.h) has words for all.
inline constexpr uint32_t kVolumeMounted = 0x2;
inline constexpr uint32_t kVolumeOnStorageLayer = 0x40000000;

// What ScanStartIndex returns when no page follows.
inline constexpr int kNoNextPage = -1;

// A walk ends after so many pages: a server that always names a next page would keep its caller
// forever.
inline constexpr int kMaxVolumePages = 1024;

// The page that begins at an index; 0 is the first.
char* BuildListVolumesRequest(int startIndex, uint32_t* length);

// The next volume of a page. *offset is 0 before the first call and is moved past the volume. An
// output may be null; its element is then ignored. Returns kOk; kInvalid when no volume is left or
// when one lacks an element; kTooLong for a name that does not fit; kRange when the offset is at
// the end; kNotFound without a `listVolumes` element.
int ScanListVolumesReply(char* reply, int replyLength, int* offset, ListedName* name,
                         uint32_t* status, int32_t* volumeNumber);

// The same, with a number that 32 bits cannot hold unchanged: ScanListVolumesReply returns its low
// bits, which may be the number of another volume.
int ScanListedVolume(char* reply, int replyLength, int* offset, ListedName* name, uint32_t* status,
                     int64_t* volumeNumber);

// The index at which the next page begins, or kNoNextPage when the page is the last.
void ScanStartIndex(char* reply, int replyLength, int* startIndex);

struct ListedVolume {
    uint32_t volumeNumber;
    uint32_t status;
    ListedName name;
};

static_assert(sizeof(ListedVolume) == 4104);

// Called for each volume. Returns 0 to go on, anything else to stop.
using VolumeCallback = int (*)(void* context, const ListedVolume& volume);

// The walks below visit all volumes, mounted or not, page by page, and ask the default peer. hooks
// may be null. Each returns kOk after the last volume, kNoMemory, the transport's code, the
// server's error, kInvalid for a page that was cut or holds a volume that is malformed, kTooLong
// for a name that does not fit, what the callback returned to stop, or kRange for a list without an
// end. Of a page that was cut no volume is given.

// Passes each volume to the callback as its page arrives: a failure may follow the first volumes.
int GetVolumes(VolumeCallback callback, const RequestHooks* hooks, void* context);

// Collects the whole list before the first call, so that a callback may mount and dismount volumes
// without moving those of later pages. A failure on any page calls nothing.
int GetVolumeArray(VolumeCallback callback, const RequestHooks* hooks, void* context);

// Passes each volume to the callback as its page arrives, except those of the storage layer for
// which the storage daemon has no mount point: they are logged and skipped.
int GetValidVolumes(VolumeCallback callback, const RequestHooks* hooks, void* context);

} // namespace zrp
