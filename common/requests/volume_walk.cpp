#include "common/requests/volume_walk.h"

#include <cstdlib>
#include <memory>

#include "common/requests/storage_control.h"
#include "common/result.h"

namespace zrp {
namespace {

struct VolumeArray {
    std::unique_ptr<ListedVolume[], FreeDeleter> volumes;
    size_t count = 0;
};

int fetch_page(int startIndex, const RequestHooks* hooks, Reply* reply, int* nextIndex) {
    uint32_t length = 0;
    HeapText request(BuildListVolumesRequest(startIndex, &length));
    const int rc = send_checked_query(kDefaultPeer, std::move(request), length, hooks, reply);
    if (rc == kOk) {
        ScanStartIndex(reply->text.get(), reply->length, nextIndex);
    }
    return rc;
}

int visit_page(const Reply& reply, VolumeCallback callback, void* context) {
    ListedVolume volume = {};
    int32_t number = 0;
    int offset = 0;
    int rc = kOk;
    while (rc == kOk && ScanListVolumesReply(reply.text.get(), reply.length, &offset, &volume.name,
                                             &volume.status, &number) == kOk) {
        volume.volumeNumber = static_cast<uint32_t>(number);
        rc = callback(context, volume);
    }
    return rc;
}

int visit_all(VolumeCallback callback, const RequestHooks* hooks, void* context) {
    if (callback == nullptr) {
        return kInvalid;
    }
    int startIndex = 0;
    for (int page = 0; startIndex != kNoNextPage; page++) {
        if (page == kMaxVolumePages) {
            return kRange;
        }
        Reply reply;
        int rc = fetch_page(startIndex, hooks, &reply, &startIndex);
        if (rc == kOk) {
            rc = visit_page(reply, callback, context);
        }
        if (rc != kOk) {
            return rc;
        }
    }
    return kOk;
}

struct ValidVolumes {
    VolumeCallback callback;
    const RequestHooks* hooks;
    void* context;
};

int visit_valid(void* context, const ListedVolume& volume) {
    const auto& walk = *static_cast<const ValidVolumes*>(context);
    if ((volume.status & kVolumeOnStorageLayer) != 0) {
        StorageMountPoint mountPoint;
        const int rc = IPCBKSControlActionGetMountPoint(nullptr, volume.name, mountPoint);
        if (rc != kOk) {
            if (walk.hooks != nullptr && walk.hooks->log != nullptr) {
                walk.hooks->log("%s call to IPCBKSControlActionGetMountPoint returned rc=%d for "
                                "volume %s",
                                "GetValidVolumes", rc, volume.name);
            }
            return kOk;
        }
    }
    return walk.callback(walk.context, volume);
}

int append(void* context, const ListedVolume& volume) {
    auto* array = static_cast<VolumeArray*>(context);
    void* grown = realloc(array->volumes.get(), (array->count + 1) * sizeof volume);
    if (grown == nullptr) {
        return kNoMemory;
    }
    (void)array->volumes.release(); // realloc freed it
    array->volumes.reset(static_cast<ListedVolume*>(grown));
    array->volumes[array->count++] = volume;
    return kOk;
}

} // namespace

int GetVolumes(VolumeCallback callback, const RequestHooks* hooks, void* context) {
    return visit_all(callback, hooks, context);
}

int GetVolumeArray(VolumeCallback callback, const RequestHooks* hooks, void* context) {
    if (callback == nullptr) {
        return kInvalid;
    }
    VolumeArray array;
    int rc = visit_all(append, hooks, &array);
    for (size_t i = 0; rc == kOk && i < array.count; i++) {
        rc = callback(context, array.volumes[i]);
    }
    return rc;
}

int GetValidVolumes(VolumeCallback callback, const RequestHooks* hooks, void* context) {
    if (callback == nullptr) {
        return kInvalid;
    }
    ValidVolumes walk = {callback, hooks, context};
    return visit_all(visit_valid, hooks, &walk);
}

} // namespace zrp
