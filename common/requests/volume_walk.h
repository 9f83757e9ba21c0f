// Walks over all volumes of the server, mounted or not, page by page.
//
// They ask the default peer. hooks may be null; they get every request and reply, and a failed
// exchange. A walk returns 0 after the last volume, 12 without memory, the transport's code, the
// server's error, what the callback returned to stop, or 34 for a list without an end.
#pragma once

#include "../engine/query.h"
#include "volume_list.h"

namespace zrp {

struct ListedVolume {
    uint32_t volumeNumber;
    uint32_t status;
    ListedName name;
};

static_assert(sizeof(ListedVolume) == 4104);

// Called for each volume. Returns 0 to go on, anything else to stop.
using VolumeCallback = int (*)(void* context, const ListedVolume& volume);

// Gives each volume to the callback as its page arrives: a failure may follow the first volumes.
int GetVolumes(VolumeCallback callback, const RequestHooks* hooks, void* context);

// Collects the whole list before the first call, so that a callback may mount and dismount volumes
// without moving those of later pages. A failure on any page calls nothing.
int GetVolumeArray(VolumeCallback callback, const RequestHooks* hooks, void* context);

// Gives each volume to the callback as its page arrives, except those of the storage layer whose
// mount point the storage daemon does not tell: they are logged and passed over.
int GetValidVolumes(VolumeCallback callback, const RequestHooks* hooks, void* context);

} // namespace zrp
