#include "common/requests/volume_list.h"

#include <cstdlib>
#include <memory>
#include <utility>

#include "common/bounded_copy.h"
#include "common/engine/query.h"
#include "common/engine/reply_list.h"
#include "common/requests/storage_control.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/xml_reader.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kListRoom = 256;

constexpr ReplyList kListedVolumes = {{tag::listVolumes}, tag::volume, {}, kNotFound};

// A volume is complete before any output changes.
struct FoundVolume {
    ListedName name;
    uint32_t status;
    int64_t volumeNumber;
};

constexpr ReplyField kListedName = ZRP_FIELD(tag::name, kWholeText, FoundVolume, name);
constexpr ReplyField kStatus = ZRP_FIELD(tag::status, kNumber32, FoundVolume, status);
constexpr ReplyField kNumber = ZRP_FIELD(tag::volumeNumber, kDecimal64, FoundVolume, volumeNumber);

void hand_over(const FoundVolume& found, ListedName* name, uint32_t* status,
               int64_t* volumeNumber) {
    if (name != nullptr) {
        copy_cut(*name, found.name);
    }
    if (status != nullptr) {
        *status = found.status;
    }
    if (volumeNumber != nullptr) {
        *volumeNumber = found.volumeNumber;
    }
}

struct VolumeArray {
    std::unique_ptr<ListedVolume[], FreeDeleter> volumes;
    size_t count = 0;
};

int fetch_page(int startIndex, const RequestHooks& hooks, Reply* reply, int* nextIndex) {
    uint32_t length = 0;
    HeapText request(BuildListVolumesRequest(startIndex, &length));
    const int rc = send_query({.hooks = hooks}, std::move(request), length, reply);
    if (rc == kOk) {
        ScanStartIndex(reply->text.get(), reply->length, nextIndex);
    }
    return rc;
}

int visit_page(const Reply& reply, VolumeCallback callback, void* context) {
    return visit_records<ListedVolume>(
        kListedVolumes, reply,
        [&](int* offset, ListedVolume* volume) {
            int32_t number = 0;
            const int rc = ScanListVolumesReply(reply.text.get(), reply.length, offset,
                                                &volume->name, &volume->status, &number);
            volume->volumeNumber = static_cast<uint32_t>(number);
            return rc;
        },
        [&](const ListedVolume& volume) { return callback(context, volume); });
}

int visit_volumes(VolumeCallback callback, const RequestHooks* hooks, void* context) {
    if (callback == nullptr) {
        return kInvalid;
    }
    int startIndex = 0;
    for (int page = 0; startIndex != kNoNextPage; page++) {
        if (page == kMaxVolumePages) {
            return kRange;
        }
        Reply reply;
        int rc =
            fetch_page(startIndex, hooks != nullptr ? *hooks : RequestHooks{}, &reply, &startIndex);
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

char* BuildListVolumesRequest(int startIndex, uint32_t* length) {
    XmlDocument document = StartDocument(kListRoom);
    WriteOpenGroup(document, tag::zrpConsoleRequest);
    WriteOpenGroup(document, tag::listVolumes);
    if (startIndex != 0) {
        WriteIntElement(document, tag::startIndex, startIndex);
    }
    WriteCloseGroup(document, tag::listVolumes);
    WriteCloseGroup(document, tag::zrpConsoleRequest);
    return FinishDocument(document, length);
}

int ScanListedVolume(char* reply, int replyLength, int* offset, ListedName* name, uint32_t* status,
                     int64_t* volumeNumber) {
    ReplyField wanted[3];
    size_t count = 0;
    const auto want = [&](const ReplyField& field, bool isWanted) {
        if (isWanted) {
            wanted[count++] = field;
        }
    };
    want(kListedName, name != nullptr);
    want(kStatus, status != nullptr);
    want(kNumber, volumeNumber != nullptr);
    const auto read = [&](const ReplyItem& volume) {
        FoundVolume found;
        const int rc = read_fields({wanted, count}, volume, &found);
        if (rc == kOk) {
            hand_over(found, name, status, volumeNumber);
        }
        return rc;
    };
    return scan_next(kListedVolumes, reply, replyLength, offset, read);
}

int ScanListVolumesReply(char* reply, int replyLength, int* offset, ListedName* name,
                         uint32_t* status, int32_t* volumeNumber) {
    int64_t number = 0;
    const int rc = ScanListedVolume(reply, replyLength, offset, name, status,
                                    volumeNumber != nullptr ? &number : nullptr);
    if (rc == kOk && volumeNumber != nullptr) {
        *volumeNumber = static_cast<int32_t>(number);
    }
    return rc;
}

void ScanStartIndex(char* reply, int replyLength, int* startIndex) {
    uint32_t found = 0;
    GetStartIndex(reply, replyLength, &found);
    if (startIndex != nullptr) {
        *startIndex = static_cast<int>(found);
    }
}

int GetVolumes(VolumeCallback callback, const RequestHooks* hooks, void* context) {
    return visit_volumes(callback, hooks, context);
}

int GetVolumeArray(VolumeCallback callback, const RequestHooks* hooks, void* context) {
    if (callback == nullptr) {
        return kInvalid;
    }
    VolumeArray array;
    int rc = visit_volumes(append, hooks, &array);
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
    return visit_volumes(visit_valid, hooks, &walk);
}

} // namespace zrp
