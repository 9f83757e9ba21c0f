// Resources that a cluster brings up on this server: addresses of virtual servers, and volumes.
#pragma once
#include "../cplusplus.h"

#include <cstddef>
#include <cstdint>
#include <span>

#include "../log/log_context.h"
#include "../volume_name.h"
#include "../xml_reader.h"

namespace zrp {

// The number of a volume to be mounted under the number that it has.
inline constexpr int32_t kOwnVolumeNumber = -1;

// Binds an address to a virtual server (bindFlag other than 0) or takes it away (0).
char* BuildClusterBindRequest(const char* serverName, const char* networkAddress, int bindFlag,
                              uint32_t* length);

// Returns kOk, or kInvalid for a reply to another request.
int ScanClusterBindReply(char* reply, int replyLength);

int BindAddress(const char* serverName, const char* networkAddress, ErrorText* errorText,
                const LogContext* log);
int UnbindAddress(const char* serverName, const char* networkAddress, ErrorText* errorText,
                  const LogContext* log);

struct ClusterVolume {
    const char* volumeName;
    int32_t volumeNumber = kOwnVolumeNumber;
    const char* settings = nullptr; // as below, or null
};

// The request that mounts volumes of a cluster resource.
//
// Settings of a volume are words between blanks, commas or semicolons, each of which may be given
// once, in any order; a value that holds one of these is in double quotes:
//
//     PATH=/mnt/a SHADOWPATH="/mnt/my shadow" SHADOWVOLUME=SHADOW1
//
// PATH becomes the element `mountPoint`, SHADOWPATH `shadow`, and SHADOWVOLUME, which names the
// shadow volume, goes into `options` with its word. A setting that is missing or empty has no
// element. The document has room for about 8000 bytes.
//
// An empty list, an unknown or repeated setting and a quote that is not closed are refused.
char* BuildClusterVolumeRequest(std::span<const ClusterVolume> volumes, uint32_t* length);

// One volume whose settings are not part of a text, so that a value may hold quotes and blanks.
struct ClusterVolumeSettings {
    const char* volumeName;
    int32_t volumeNumber = kOwnVolumeNumber;
    const char* path = nullptr; // each may be null
    const char* shadowPath = nullptr;
    const char* shadowVolume = nullptr;
};

char* BuildOneClusterVolumeRequest(const ClusterVolumeSettings& volume, uint32_t* length);

inline constexpr size_t kClusterNameSize = 256; // with its terminator

struct ClusterVolumeResult {
    char volumeName[kClusterNameSize];
    int32_t volumeNumber;
    int32_t mountFailureCode; // 0 when it was mounted
};

// The next volume of a reply; a longer name is cut. *offset is 0 before the first call and is moved
// past the volume. Returns kOk; kRange when no volume is left; kInvalid for a reply to another
// request and for a volume that lacks an element.
int ScanClusterVolumeReply(char* reply, int replyLength, int* offset, ClusterVolumeResult* record);

// Called for each volume. Returns 0 to go on, anything else to stop.
using ClusterVolumeCallback = int (*)(void* context, const ClusterVolumeResult& volume);

// Mounts the volumes and passes what became of each to the callback. That some could not be mounted
// is no failure of the operation. Returns kNameTooLong, without an exchange, for a name of more
// than kMaxVolumeName bytes.
int MountClusterVolumes(std::span<const ClusterVolume> volumes, ClusterVolumeCallback callback,
                        void* context, ErrorText* errorText, const LogContext* log);

// The list of virtual servers.
char* BuildListVirtualServersRequest(uint32_t* length);

} // namespace zrp
