// Control of the storage daemon: which volumes it keeps out of the file service, what it knows of
// them, and its event filter.
//
// Every operation asks the storage daemon by its own name and takes a log, which may be null: it
// gets a dump of request and reply and a line for each failure.
//
// Results: kOk; kInvalid for a bad argument; kNoMemory, also for a name that does not fit into a
// request of 512 bytes; the transport's code; the server's error; kNotFound for a reply that lacks
// what was asked for. Nothing is sent for a bad argument or name.
#pragma once
#include "../cplusplus.h"

#include <cstddef>
#include <cstdint>

#include "../log/log_context.h"

namespace zrp {

// Lists to choose from; also the kind of a listed volume. 0 means both.
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

// Passes each volume of the chosen lists to the callback, the excluded ones first. A list that the
// reply lacks counts as empty; one that was cut is kNotFound, after the volumes before. A name of
// 256 bytes or more ends the process, since no volume can have one. Returns kInvalid for a null
// callback or a choice of neither list.
int IPCBKSControlList(VolumeListCallback callback, void* userData, const LogContext* log,
                      int32_t which);

// Adds a volume to the file service or takes it out. Returns kInvalid also for an action that does
// neither.
int IPCBKSControlAction(const LogContext* log, uint32_t action, const char* volumeName);

// Where a volume is mounted. The name may be one from a reply (xml_writer.h). mountPoint is emptied
// first. Returns kTooLong for a longer path.
int IPCBKSControlActionGetMountPoint(const LogContext* log, const char* volumeName,
                                     StorageMountPoint& mountPoint);

// The event filter is a list of names, each with a mask of the events that pass. Called for each
// filter with its name and its value as the daemon writes it. Both are NUL-terminated and valid
// during the call.
using FilterCallback = void (*)(const char* name, const char* value, void* userData);

// Passes each filter to the callback. Returns kOk also for a reply without a list, and kNotFound
// for one that was cut. What is no filter ends the list. A filter without a name or value, or with
// one of 4096 bytes or more, is skipped.
int IPCBKSControlFilterList(FilterCallback callback, void* userData, const LogContext* log);

// These do not look at the reply.
int IPCBKSControlFilterSet(const LogContext* log, const char* name, uint32_t value);
int IPCBKSControlFilterReset(const LogContext* log); // all as they were when the daemon started
int IPCBKSControlFilterOff(const LogContext* log);   // no event passes any more

// The requests of these operations, for a program that reads the replies more strictly: they are
// sent with kStorageDaemonRequest. The lists of the first are chosen as IPCBKSControlList has it.
char* BuildControlListRequest(int32_t which, uint32_t* length);
char* BuildControlActionRequest(uint32_t action, const char* volumeName, uint32_t* length);
char* BuildMountPointRequest(const char* volumeName, uint32_t* length);
char* BuildFilterListRequest(uint32_t* length);
char* BuildFilterSetRequest(const char* name, uint32_t value, uint32_t* length);
char* BuildFilterResetRequest(uint32_t* length);
char* BuildFilterOffRequest(uint32_t* length);

} // namespace zrp
