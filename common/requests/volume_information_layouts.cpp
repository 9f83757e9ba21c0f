#include "common/requests/volume_information_layouts.h"

#include "common/requests/volume_records.h"
#include "common/tags.h"

namespace zrp {
namespace {

// A row of the version whose record is called Record: every member is named after its element.
#define FIELD(kind, member) ZRP_FIELD(tag::member, kind, Record, member)

namespace v1 {

using Record = VolumeInformationV1;

constexpr ReplyField kHead[] = {
    FIELD(kDecimal, volumeNumber),
    FIELD(kNumber32, volumeType),
    FIELD(kNumber32, status),
    FIELD(kNumber32, statusFlags),
    FIELD(kNumber32, sectorSize),
    FIELD(kNumber32, sectorPerCluster),
    FIELD(kNumber32, clustersPerVolume),
    FIELD(kNumber32, freeClusters),
    FIELD(kNumber32, directoryEntries),
    FIELD(kNumber32, unusedDirectoryEntries),
    FIELD(kNumber32, lastModifiedDateAndTime),
    FIELD(kDecimal, dcGetEntryCount),
    FIELD(kDecimal, dcLockEntryCount),
    FIELD(kDecimal, dcCacheFiles),
    FIELD(kDecimal, dcCachedSubdirs),
    FIELD(kDecimal, dcEvictedFiles),
    FIELD(kDecimal, dcTrusteeCount),
    FIELD(kDecimal, mountPointType),
};

} // namespace v1

namespace v3 {

using Record = VolumeInformationV3;

constexpr ReplyField kHead[] = {
    FIELD(kDecimal, volumeNumber),
    FIELD(kNumber32, status),
};

constexpr ReplyField kTail[] = {
    FIELD(kNumber32, enforcedFlag),
};

} // namespace v3

namespace v4 {

using Record = VolumeInformationV4;

constexpr ReplyField kHead[] = {
    FIELD(kDecimal, volumeNumber),
    FIELD(kNumber32, volumeType),
    FIELD(kNumber32, status),
    FIELD(kNumber32, statusFlags),
    FIELD(kNumber32, sectorSize),
    FIELD(kNumber32, sectorPerCluster),
    FIELD(kNumber32, clustersPerVolume),
    FIELD(kNumber32, freeClusters),
    FIELD(kNumber32, directoryEntries),
    FIELD(kNumber32, unusedDirectoryEntries),
    FIELD(kNumber32, lastModifiedDateAndTime),
    FIELD(kDecimal, dcGetEntryCount),
    FIELD(kDecimal, dcLockEntryCount),
    FIELD(kDecimal, dcCacheFiles),
    FIELD(kDecimal, dcCachedSubdirs),
    FIELD(kDecimal, dcEvictedFiles),
    FIELD(kDecimal, dcEvictedSubdirs),
    FIELD(kDecimal, dcTrusteeCount),
    FIELD(kDecimal, dcNormalOpenCount),
    FIELD(kDecimal, dcLazyOpenCount),
    FIELD(kDecimal, dcLazyCloseCount),
    FIELD(kDecimal, dcBackgroundCloseCount),
    FIELD(kDecimal, dcSecurityNodeCount),
    FIELD(kDecimal, dcOverflowEntriesFound),
    FIELD(kDecimal, mountPointType),
};

} // namespace v4

namespace v5 {

using Record = VolumeInformation;

constexpr ReplyField kHead[] = {
    FIELD(kDecimal, volumeNumber),
    FIELD(kNumber32, volumeType),
    FIELD(kNumber32, status),
    FIELD(kNumber32, statusFlags),
    FIELD(kNumber64, sectorSize),
    FIELD(kNumber64, sectorPerCluster),
    FIELD(kNumber64, clustersPerVolume),
    FIELD(kNumber64, freeClusters),
    FIELD(kNumber64, purgeableBlocks),
    FIELD(kNumber64, notYetPurgeableBlocks),
    FIELD(kNumber64, directoryEntries),
    FIELD(kNumber64, unusedDirectoryEntries),
    FIELD(kNumber64, lastModifiedDateAndTime),
    FIELD(kNumber64, dcGetEntryCount),
    FIELD(kNumber64, dcLockEntryCount),
    FIELD(kNumber64, dcCacheFiles),
    FIELD(kNumber64, dcCachedSubdirs),
    FIELD(kNumber64, dcEvictedFiles),
    FIELD(kNumber64, dcEvictedSubdirs),
    FIELD(kNumber64, dcTrusteeCount),
    FIELD(kNumber64, dcNormalOpenCount),
    FIELD(kNumber64, dcLazyOpenCount),
    FIELD(kNumber64, dcLazyCloseCount),
    FIELD(kNumber64, dcBackgroundCloseCount),
    FIELD(kNumber64, dcSecurityNodeCount),
    FIELD(kNumber64, dcOverflowEntriesFound),
    FIELD(kNumber32, enforcedFlag),
    FIELD(kDecimal, connectionCount),
    FIELD(kDecimal, mountPointType),
};

} // namespace v5

namespace v6 {

using Record = VolumeInformationV6;

constexpr ReplyField kTail[] = {
    FIELD(kNumber32, shadowFlags),
    FIELD(kNumber32, enforcedFlag),
    FIELD(kDecimal, connectionCount),
};

} // namespace v6

// Of every record that has a pool.
template <typename Record>
constexpr ReplyField kPool[] = {
    FIELD(kText, poolName),
    FIELD(kText, volumeGUID),
    FIELD(kNumber32, enabledAttributes),
};

#undef FIELD

// A layout without its own choices: the texts that every record has.
template <typename Record>
constexpr VolumeLayout with_texts(ReplyFields head) {
    static_assert(offsetof(Record, name) == 0 && sizeof(Record::name) == kVolumeNameSize);
    VolumeLayout layout = {};
    layout.size = sizeof(Record);
    layout.head = head;
    layout.mountPointText = ZRP_FIELD(tag::mountPoint, kText, Record, mountPointText);
    layout.shadowText = ZRP_FIELD(tag::shadow, kText, Record, shadowText);
    layout.mountPoint = offsetof(Record, mountPoint);
    layout.shadowMountPoint = offsetof(Record, shadowMountPoint);
    return layout;
}

template <typename Record>
constexpr VolumeLayout with_pool(ReplyFields head) {
    VolumeLayout layout = with_texts<Record>(head);
    layout.mountPointType = offsetof(Record, mountPointType);
    layout.pool = kPool<Record>;
    return layout;
}

constexpr VolumeLayout version1() {
    VolumeLayout layout = with_pool<VolumeInformationV1>(v1::kHead);
    layout.keepsPartial = true;
    return layout;
}

constexpr VolumeLayout version3() {
    VolumeLayout layout = with_texts<VolumeInformationV3>(v3::kHead);
    layout.tail = v3::kTail;
    return layout;
}

constexpr VolumeLayout version6() {
    static_assert(offsetof(VolumeInformationV6, common) == 0);
    VolumeLayout layout = with_pool<VolumeInformation>(v5::kHead);
    layout.size = sizeof(VolumeInformationV6);
    layout.tail = v6::kTail;
    return layout;
}

// Indexed by the version less one.
constexpr VolumeLayout kLayouts[] = {
    version1(),
    version1(),
    version3(),
    with_pool<VolumeInformationV4>(v4::kHead),
    with_pool<VolumeInformation>(v5::kHead),
    version6(),
};

static_assert(std::size(kLayouts) == kMaxVolumeInformationVersion);

} // namespace

const VolumeLayout* find_volume_layout(int versionTag) {
    if (versionTag < 1 || versionTag > kMaxVolumeInformationVersion) {
        return nullptr;
    }
    return &kLayouts[versionTag - 1];
}

} // namespace zrp
