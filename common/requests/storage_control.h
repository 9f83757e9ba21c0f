// Which volumes the storage daemon keeps out of the file service, and what it knows of them.
//
// Every operation asks the storage daemon by its own name and takes a log, which may be null: it
// gets a dump of request and reply and a line for each failure.
//
// Results: 0; 22 for a bad argument (also a text that is not sendable, xml_writer.h); 12 without
// memory and for a name that does not fit into a request of 512 bytes; the transport's code; the
// server's error; 2 for a reply that lacks what was asked for. Nothing was sent with 22 and with 12
// for a name.
#pragma once

#include <cstddef>
#include <cstdint>

#include "../log/log_context.h"

namespace zrp {

// Lists to choose from; also the kind of a listed volume. 0 stands for both.
enum ControlList : int32_t {
    kBothLists = 6,
    kExcludedVolumes = 2, // not served
    kIncludedVolumes = 4, // served
};

// What IPCBKSControlAction does. Removing excludes the volume from the file service, creating
// includes it; creating wins when both are set.
enum ControlAction : uint32_t {
    kRemoveFromControl = 1,
    kAddToControl = 2,
    kThenDismount = 0x10,
    kThenMount = 0x20,
};

inline constexpr size_t kStorageMountPointSize = 4096; // with its terminator
using StorageMountPoint = char[kStorageMountPointSize];

// Called for each volume with kExcludedVolumes or kIncludedVolumes. The name is NUL-terminated and
// valid during the call.
using VolumeListCallback = void (*)(const char* volumeName, int32_t kind, void* userData);

// Gives each volume of the chosen lists to the callback, the excluded ones first. A list that is
// missing in the reply counts as empty. A name of 256 characters or more ends the process, since no
// volume can have one. Returns 22 for no callback or a choice of neither list.
int IPCBKSControlList(VolumeListCallback callback, void* userData, const LogContext* log,
                      int32_t which);

// Adds a volume to the file service or takes it out. Returns 22 also for an action that does
// neither.
int IPCBKSControlAction(const LogContext* log, uint32_t action, const char* volumeName);

// Where a volume is mounted. The name may be one out of a reply (xml_writer.h). mountPoint is
// emptied first. Returns 75 for a longer path.
int IPCBKSControlActionGetMountPoint(const LogContext* log, const char* volumeName,
                                     StorageMountPoint& mountPoint);

} // namespace zrp
