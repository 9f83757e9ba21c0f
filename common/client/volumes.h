// Volumes of the server: listing, looking at, making, changing, mounting, shadows.
#pragma once
#include "../cplusplus.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "../genericCode.h"
#include "../requests/shadow_volumes.h"
#include "../requests/volume_information.h"
#include "../requests/volume_list.h"
#include "../requests/volume_management.h"
#include "../requests/volume_mounting.h"
#include "detail.h"

namespace zrp::client {

struct Volume {
    std::string name;
    int32_t number;
    uint32_t status; // bits; StatusWords has words for them
};

// All that the server says of one volume. What its layout does not have stays 0 or empty.
struct VolumeDetails {
    int layout = 0; // 1 to 6
    std::string name;
    int32_t number = 0;
    uint32_t type = 0;
    uint32_t status = 0;
    uint32_t statusFlags = 0;
    std::string mountPoint;
    std::string shadowMountPoint; // empty without a shadow
    uint32_t shadowFlags = 0;
    std::string poolName; // this and the two below: of a volume in a pool
    std::string guid;
    uint32_t enabledAttributes = 0;

    uint64_t clusterSize = 0; // bytes, as the next two; blocks are as large
    uint64_t size = 0;
    uint64_t free = 0;
    uint64_t purgeableBlocks = 0;
    uint64_t notYetPurgeableBlocks = 0;
    uint64_t directoryEntries = 0;
    uint64_t unusedDirectoryEntries = 0;
    uint64_t lastModified = 0; // seconds since 1970
    bool quotasEnforced = false;
    int32_t connections = 0;

    struct Cache {
        uint64_t entryRequests = 0;
        uint64_t entryLocks = 0;
        uint64_t files = 0;
        uint64_t subdirectories = 0;
        uint64_t evictedFiles = 0;
        uint64_t evictedSubdirectories = 0;
        uint64_t trustees = 0;
        uint64_t normalOpens = 0;
        uint64_t lazyOpens = 0;
        uint64_t lazyCloses = 0;
        uint64_t backgroundCloses = 0;
        uint64_t securityNodes = 0;
        uint64_t overflowEntries = 0;
    } cache;
};

// The words for status bits with a blank between them: "online mounted salvageable".
inline std::string StatusWords(uint32_t status) {
    char text[kVolumeStatusTextSize];
    formatVolumeStatus(status, text);
    std::string words = text;
    words.pop_back(); // there is always a word, and a blank after it
    return words;
}

// A size as people read it, "1.50 GB".
inline std::string SizeWords(uint64_t bytes) {
    SizeText text;
    cvtSizeToString(bytes, 1, text);
    return text;
}

namespace detail {

inline constexpr List kVolumes = {tag::listVolumes, tag::volume};

struct VolumeItem {
    ListedName name;
    uint32_t status;
    int32_t number;
};

// The members that a layout has, whichever it is.
template <typename Layout>
void CopyFigures(const Layout& from, VolumeDetails* to) {
    if constexpr (requires { from.freeClusters; }) {
        const uint64_t cluster = uint64_t{from.sectorSize} * from.sectorPerCluster;
        to->clusterSize = cluster;
        to->size = cluster * from.clustersPerVolume;
        to->free = cluster * from.freeClusters;
        to->type = from.volumeType;
        to->statusFlags = from.statusFlags;
        to->poolName = from.poolName;
        to->guid = from.volumeGUID;
        to->enabledAttributes = from.enabledAttributes;
        to->directoryEntries = from.directoryEntries;
        to->unusedDirectoryEntries = from.unusedDirectoryEntries;
        to->lastModified = from.lastModifiedDateAndTime;
        to->cache.entryRequests = from.dcGetEntryCount;
        to->cache.entryLocks = from.dcLockEntryCount;
        to->cache.files = from.dcCacheFiles;
        to->cache.subdirectories = from.dcCachedSubdirs;
        to->cache.evictedFiles = from.dcEvictedFiles;
        to->cache.trustees = from.dcTrusteeCount;
    }
    if constexpr (requires { from.dcLazyOpenCount; }) {
        to->cache.evictedSubdirectories = from.dcEvictedSubdirs;
        to->cache.normalOpens = from.dcNormalOpenCount;
        to->cache.lazyOpens = from.dcLazyOpenCount;
        to->cache.lazyCloses = from.dcLazyCloseCount;
        to->cache.backgroundCloses = from.dcBackgroundCloseCount;
        to->cache.securityNodes = from.dcSecurityNodeCount;
        to->cache.overflowEntries = from.dcOverflowEntriesFound;
    }
    if constexpr (requires { from.purgeableBlocks; }) {
        to->purgeableBlocks = from.purgeableBlocks;
        to->notYetPurgeableBlocks = from.notYetPurgeableBlocks;
        to->connections = from.connectionCount;
    }
    if constexpr (requires { from.enforcedFlag; }) {
        to->quotasEnforced = from.enforcedFlag != 0;
    }
}

template <typename Layout>
VolumeDetails CopyLayout(const Layout& from) {
    VolumeDetails to;
    to.name = from.name;
    to.number = from.volumeNumber;
    to.status = from.status;
    to.mountPoint = from.mountPoint;
    to.shadowMountPoint = from.shadowMountPoint == nullptr ? "" : from.shadowMountPoint;
    CopyFigures(from, &to);
    return to;
}

inline VolumeDetails CopyRecord(int layout, const void* record) {
    switch (layout) {
    case 1:
    case 2:
        return CopyLayout(*static_cast<const VolumeInformationV1*>(record));
    case 3:
        return CopyLayout(*static_cast<const VolumeInformationV3*>(record));
    case 4:
        return CopyLayout(*static_cast<const VolumeInformationV4*>(record));
    case 6: {
        const auto& last = *static_cast<const VolumeInformationV6*>(record);
        VolumeDetails to = CopyLayout(last.common);
        to.shadowFlags = last.shadowFlags;
        return to;
    }
    default:
        return CopyLayout(*static_cast<const VolumeInformation*>(record));
    }
}

} // namespace detail

// All volumes, mounted or not, as their pages arrive: a failure may follow the first ones.
template <typename Callback>
Answer<> ForEachVolume(Callback callback) {
    return detail::WalkPages<detail::VolumeItem>(
        detail::kVolumes, BuildListVolumesRequest,
        [](char* reply, int length, int* offset, detail::VolumeItem* item) {
            return ScanListVolumesReply(reply, length, offset, &item->name, &item->status,
                                        &item->number);
        },
        [&](const detail::VolumeItem& item) {
            return detail::GoesOn(callback, Volume{item.name, item.number, item.status});
        },
        [](const Reply& reply, int* index) {
            ScanStartIndex(reply.text.get(), reply.length, index);
            *index = *index == kNoNextPage ? detail::kLastPage : *index;
            return int{kOk};
        });
}

inline Answer<std::vector<Volume>> ListVolumes() {
    return detail::Collect<Volume>([](auto visit) { return ForEachVolume(visit); });
}

// One volume, whose name has at most 16 bytes. The server may answer in another layout than the one
// asked for.
inline Answer<VolumeDetails> GetVolume(std::string_view name,
                                       int layout = kVolumeInformationVersion) {
    return detail::Ask<VolumeDetails>(
        [&](uint32_t* length) {
            return BuildVolumeInformationRequest(detail::Text(name), length, layout);
        },
        [&](char* reply, int length, VolumeDetails* details) {
            int offset = 0;
            int version = 0;
            VolumeRecord record;
            const int rc = ScanVolumeInformationReply(reply, length, &offset, &version, &record);
            if (rc == kOk) {
                *details = detail::CopyRecord(version, record.get());
                details->layout = version;
            }
            return rc;
        });
}

// Makes a volume of a directory; gives the name as the server spells it. attributes are bits of the
// status.
inline Answer<std::string> CreateVolume(std::string_view name, std::string_view directory,
                                        int32_t attributes = 0, int32_t number = kAnyVolumeNumber) {
    return detail::RunForName<kVolumeNameSize>(zrp::CreateVolume, detail::Text(name),
                                               detail::Text(directory), attributes, number);
}

// Takes a volume out of the server; its directory stays. options is a word for the server.
inline Answer<std::string> RemoveVolume(std::string_view name, std::string_view options = {}) {
    return detail::RunForName<kVolumeNameSize>(RemoveVolumeWithOptions, detail::Text(name),
                                               detail::Text(options).OrNull());
}

// Sets the attribute bits of grant and clears those of revoke; gives those that are set now.
inline Answer<ModifiedVolume> ModifyVolume(std::string_view name, uint32_t grant, uint32_t revoke) {
    return detail::RunForRecord<ModifiedVolume>(zrp::ModifyVolume, detail::Text(name), grant,
                                                revoke);
}

// Purges the deleted files of a volume; gives the name as the server spells it.
inline Answer<std::string> PurgeVolume(std::string_view name) {
    return detail::RunForName<kVolumeNameSize>(zrp::PurgeVolume, detail::Text(name));
}

// Lets the server write out what it holds back for all volumes.
inline Answer<> FlushVolumes() {
    return detail::Run(zrp::FlushVolumes);
}

inline Answer<> ControlVolumeTree(std::string_view name, uint32_t flags) {
    return detail::Run(VolumeTreeControl, detail::Text(name), flags);
}

// Volumes are named as a user types them, "DATA, HOME=7": volume_mounting.h has the rules. That
// some could not be mounted is no failure: each result has its code.
inline Answer<std::vector<MountedVolume>> MountVolumes(std::string_view names) {
    return detail::RunForRecords<MountedVolume>(zrp::MountVolumes, detail::Text(names));
}

inline Answer<std::vector<DismountedVolume>> DismountVolumes(std::string_view names) {
    return detail::RunForRecords<DismountedVolume>(zrp::DismountVolumes, detail::Text(names));
}

// The names of the volumes that changed; there may be none.
inline Answer<std::vector<std::string>> MountAllVolumes() {
    return detail::RunForTexts<VolumeName>(zrp::MountAllVolumes);
}

inline Answer<std::vector<std::string>> DismountAllVolumes() {
    return detail::RunForTexts<VolumeName>(zrp::DismountAllVolumes);
}

// Gives a volume, which is mounted at mountPoint, a shadow in a directory; gives the volume's name.
inline Answer<std::string> CreateShadowVolume(std::string_view name, std::string_view directory,
                                              std::string_view mountPoint, int32_t attributes = 0) {
    return detail::RunForName<kVolumeNameSize>(zrp::CreateShadowVolume, detail::Text(name),
                                               detail::Text(directory), detail::Text(mountPoint),
                                               attributes);
}

// Takes the shadow from a volume; its configuration stays. Without a mount point the server goes by
// the volume's name alone.
inline Answer<RemovedShadow> RemoveShadowVolume(std::string_view name,
                                                std::string_view mountPoint = {}) {
    return mountPoint.empty()
               ? detail::RunForRecord<RemovedShadow>(zrp::RemoveShadowVolume, detail::Text(name))
               : detail::RunForRecord<RemovedShadow>(RemoveShadowVolumeAt, detail::Text(name),
                                                     detail::Text(mountPoint));
}

// shadow is the shadowVolName that RemoveShadowVolume gave.
inline Answer<std::string> RemoveShadowConfiguration(std::string_view name,
                                                     std::string_view mountPoint,
                                                     std::string_view shadow) {
    return detail::RunForName<kVolumeNameSize>(zrp::RemoveShadowConfiguration, detail::Text(name),
                                               detail::Text(mountPoint), detail::Text(shadow));
}

} // namespace zrp::client
