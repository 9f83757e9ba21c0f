// Resources that a cluster brings up on this server: addresses of virtual servers, and volumes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "../engine/operation.h"

namespace zrp {

// The request that binds an address to a virtual server (bindFlag not 0) or takes it away (0),
// malloc'ed. Null with errno 22 for a text that is not sendable, else 12.
char* BuildClusterBindRequest(const char* serverName, const char* networkAddress, int bindFlag,
                              uint32_t* length);

// Returns 0, or 22 for an empty reply (also a negative length) and one to another request.
int ScanClusterBindReply(char* reply, int replyLength);

struct ClusterVolume {
    const char* volumeName;
    int32_t volumeNumber = kOwnVolumeNumber;
    const char* settings = nullptr; // as below, or null
};

// The request that mounts volumes of a cluster resource, malloc'ed.
//
// Settings of a volume are words between blanks, commas or semicolons, each of which may be given
// once, in any order; a value that holds one of these stands in double quotes:
//
//     PATH=/mnt/a SHADOWPATH="/mnt/my shadow" SHADOWVOLUME=SHADOW1
//
// PATH becomes the element `mountPoint`, SHADOWPATH `shadow`, and SHADOWVOLUME, which names the
// shadow volume, stands in `options` with its word. A setting that is missing or empty has no
// element. The document has room for about 8000 characters.
//
// Null with errno 22 for an empty list, an unknown or repeated setting, a quote that is not closed,
// and a text that is not sendable, else 12.
char* BuildClusterVolumeRequest(std::span<const ClusterVolume> volumes, uint32_t* length);

inline constexpr size_t kClusterNameSize = 256; // with its terminator

struct ClusterVolumeResult {
    char volumeName[kClusterNameSize];
    int32_t volumeNumber;
    int32_t mountFailureCode; // 0 when it was mounted
};

// The next volume of a reply; a longer name is cut. *offset is 0 before the first call and is moved
// behind the volume. Returns 0; 22 for an empty reply (also a negative length), one to another
// request, when no volume is left and for a volume that lacks an element, with the record as it
// was; 34 when the offset is at the end.
int ScanClusterVolumeReply(char* reply, int replyLength, int* offset, ClusterVolumeResult* record);

// The request for the list of virtual servers, malloc'ed. Null without memory.
char* BuildListVirtualServersRequest(uint32_t* length);

} // namespace zrp
