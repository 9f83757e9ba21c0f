// The records of a volume's information, one layout for each version of the reply.
//
// Members are named after the elements that fill them. mountPoint points into the record;
// shadowMountPoint does so too, or is null when the volume has no shadow. poolName, volumeGUID and
// enabledAttributes are empty while mountPointType is 0.
#pragma once
#include "../cplusplus.h"

#include <cstddef>
#include <cstdint>
#include <memory>

#include "../heap_text.h"
#include "../volume_name.h"

namespace zrp {

inline constexpr int kMaxVolumeInformationVersion = 6; // the highest that is understood

inline constexpr size_t kPoolNameSize = 256;
inline constexpr size_t kVolumeGuidSize = 256;
inline constexpr size_t kMountPointSize = 4104;

// Version 5.
struct VolumeInformation {
    VolumeName name;
    int32_t volumeNumber;
    uint32_t volumeType;
    uint32_t status; // bits with the words of formatVolumeStatus
    uint32_t statusFlags;
    uint64_t sectorSize; // bytes
    uint64_t sectorPerCluster;
    uint64_t clustersPerVolume;
    uint64_t freeClusters;
    uint64_t purgeableBlocks;
    uint64_t notYetPurgeableBlocks;
    uint64_t directoryEntries;
    uint64_t unusedDirectoryEntries;
    uint64_t lastModifiedDateAndTime;
    uint64_t dcGetEntryCount;
    uint64_t dcLockEntryCount;
    uint64_t dcCacheFiles;
    uint64_t dcCachedSubdirs;
    uint64_t dcEvictedFiles;
    uint64_t dcEvictedSubdirs;
    uint64_t dcTrusteeCount;
    uint64_t dcNormalOpenCount;
    uint64_t dcLazyOpenCount;
    uint64_t dcLazyCloseCount;
    uint64_t dcBackgroundCloseCount;
    uint64_t dcSecurityNodeCount;
    uint64_t dcOverflowEntriesFound;
    uint32_t enforcedFlag;
    int32_t connectionCount;
    int32_t mountPointType;
    char poolName[kPoolNameSize];
    char volumeGUID[kVolumeGuidSize];
    uint32_t enabledAttributes;
    char* mountPoint;
    char* shadowMountPoint;
    char mountPointText[kMountPointSize];
    char shadowText[kMountPointSize];
};

// Versions 1 and 2.
struct VolumeInformationV1 {
    VolumeName name;
    int32_t volumeNumber;
    uint32_t volumeType;
    uint32_t status;
    uint32_t statusFlags;
    uint32_t sectorSize;
    uint32_t sectorPerCluster;
    uint32_t clustersPerVolume;
    uint32_t freeClusters;
    uint32_t directoryEntries;
    uint32_t unusedDirectoryEntries;
    uint32_t lastModifiedDateAndTime;
    uint32_t dcGetEntryCount;
    uint32_t dcLockEntryCount;
    uint32_t dcCacheFiles;
    uint32_t dcCachedSubdirs;
    uint32_t dcEvictedFiles;
    uint32_t dcTrusteeCount;
    int32_t mountPointType;
    char poolName[kPoolNameSize];
    char volumeGUID[kVolumeGuidSize];
    uint32_t enabledAttributes;
    char* mountPoint;
    char* shadowMountPoint;
    char mountPointText[kMountPointSize];
    char shadowText[kMountPointSize];
};

struct VolumeInformationV3 {
    VolumeName name;
    int32_t volumeNumber;
    uint32_t status;
    char* mountPoint;
    char* shadowMountPoint;
    char mountPointText[kMountPointSize];
    char shadowText[kMountPointSize];
    uint32_t enforcedFlag;
};

struct VolumeInformationV4 {
    VolumeName name;
    int32_t volumeNumber;
    uint32_t volumeType;
    uint32_t status;
    uint32_t statusFlags;
    uint32_t sectorSize;
    uint32_t sectorPerCluster;
    uint32_t clustersPerVolume;
    uint32_t freeClusters;
    uint32_t directoryEntries;
    uint32_t unusedDirectoryEntries;
    uint32_t lastModifiedDateAndTime;
    uint32_t dcGetEntryCount;
    uint32_t dcLockEntryCount;
    uint32_t dcCacheFiles;
    uint32_t dcCachedSubdirs;
    uint32_t dcEvictedFiles;
    uint32_t dcEvictedSubdirs;
    uint32_t dcTrusteeCount;
    uint32_t dcNormalOpenCount;
    uint32_t dcLazyOpenCount;
    uint32_t dcLazyCloseCount;
    uint32_t dcBackgroundCloseCount;
    uint32_t dcSecurityNodeCount;
    uint32_t dcOverflowEntriesFound;
    int32_t mountPointType;
    char poolName[kPoolNameSize];
    char volumeGUID[kVolumeGuidSize];
    uint32_t enabledAttributes;
    char* mountPoint;
    char* shadowMountPoint;
    char mountPointText[kMountPointSize];
    char shadowText[kMountPointSize];
};

// Version 6 is version 5 with more after it, so that a reader of version 5 can read it too; two of
// the elements are in both parts.
struct VolumeInformationV6 {
    VolumeInformation common;
    uint32_t shadowFlags;
    uint32_t enforcedFlag;
    int32_t connectionCount;
    uint32_t reserved[7]; // 0
};

static_assert(sizeof(VolumeInformation) == 8976);
static_assert(sizeof(VolumeInformationV1) == 8848);
static_assert(sizeof(VolumeInformationV3) == 8272);
static_assert(sizeof(VolumeInformationV4) == 8872);
static_assert(sizeof(VolumeInformationV6) == 9016);

// Owns a record of any layout; a malloc'ed block.
using VolumeRecord = std::unique_ptr<void, FreeDeleter>;

} // namespace zrp
