// Where the elements of a volumeInformation reply go in the record of each version. Internal to the
// library.
#pragma once

#include <span>

#include "../engine/reply_fields.h"

#pragma GCC visibility push(hidden)

namespace zrp {

using ReplyFields = std::span<const ReplyField>;

// Each record begins with the volume's name, which is read before there is a record.
struct VolumeLayout {
    size_t size;
    bool keepsPartial;     // handed over even when an element is missing
    ReplyFields head;      // after the name, up to mountPointType
    size_t mountPointType; // place of the int32_t that says whether the pool's fields follow
    ReplyFields pool;
    ReplyField mountPointText;
    ReplyField shadowText;
    size_t mountPoint; // places of the pointers to these texts
    size_t shadowMountPoint;
    ReplyFields tail; // after the texts
};

// The layout of a version, or null when there is none.
const VolumeLayout* find_volume_layout(int versionTag);

} // namespace zrp

#pragma GCC visibility pop
