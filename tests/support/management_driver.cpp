#include "tests/support/management_driver.h"

#include <cstring>

#include "common/requests/connection_management.h"
#include "common/requests/open_files.h"
#include "common/requests/shadow_volumes.h"
#include "common/requests/volume_management.h"
#include "common/requests/volume_mounting.h"
#include "tests/support/require.h"

namespace zrp {
namespace {

// Walks through a list; look is called for each record.
template <typename Record, typename Scan, typename Look>
void walk(std::string_view input, Scan scan, Look look) {
    const ExactBlock reply(input);
    Record record = {};
    const int rc = scan_to_the_end(reply, [&](int* offset) {
        const int code = scan(reply.begin(), reply.length(), offset, record);
        if (code == kOk) {
            look(reply, record);
        }
        return code;
    });
    REQUIRE(rc == kInvalid || rc == kRange);
}

void drive_names(std::string_view input) {
    using Scan = int (*)(char* reply, int replyLength, VolumeName& name);
    constexpr Scan kScans[] = {
        ScanCreateVolumeReply,
        ScanRemoveVolumeReply,
        ScanPurgeVolumeReply,
        ScanCreateShadowVolumeReply,
        ScanRemoveShadowConfigurationReply,
    };
    for (const Scan scan : kScans) {
        const ExactBlock reply(input);
        VolumeName name = "old";
        const int rc = scan(reply.begin(), reply.length(), name);
        REQUIRE(rc == kOk || (rc == kInvalid && strcmp(name, "old") == 0));
        require_text(name);
    }
}

void drive_records(std::string_view input) {
    const ExactBlock reply(input);
    ModifiedVolume volume = {"", 77};
    if (ScanModifyVolumeReply(reply.begin(), reply.length(), &volume) == kOk) {
        require_text(volume.volumeName);
    } else {
        REQUIRE(volume.grant == 77);
    }
    RemovedShadow removed = {};
    if (ScanRemoveShadowVolumeReply(reply.begin(), reply.length(), &removed) == kOk) {
        require_text(removed.volumeName);
        require_text(removed.shadowVolName);
    }
    char closed[kFileNameSize] = "";
    ScanCloseFileReply(reply.begin(), reply.length(), closed, nullptr);
    require_text(closed);
    ScanCloseConnectionLocksReply(reply.begin(), reply.length(), nullptr);
    ScanClearConnectionReply(reply.begin(), reply.length());
    ScanBroadcastMessageReply(reply.begin(), reply.length());
    OpenFilesPage page = {};
    ScanOpenFilesPage(reply.begin(), reply.length(), &page);
    int32_t count = 0;
    ScanActualLockCount(reply.begin(), reply.length(), &count);
}

struct Named {
    VolumeName name;
};

void drive_mount_lists(std::string_view input) {
    const auto look = [](const ExactBlock&, const auto& record) { require_text(record.name); };
    using Scan = int (*)(char* reply, int replyLength, int* offset, VolumeName& name);
    for (const Scan scan : {ScanMountAllReply, ScanDismountAllReply}) {
        walk<Named>(
            input,
            [&](char* reply, int length, int* offset, Named& record) {
                return scan(reply, length, offset, record.name);
            },
            look);
    }
    walk<MountedVolume>(
        input,
        [](char* reply, int length, int* offset, MountedVolume& volume) {
            return ScanMountVolumesReply(reply, length, offset, &volume);
        },
        look);
    walk<DismountedVolume>(
        input,
        [](char* reply, int length, int* offset, DismountedVolume& volume) {
            return ScanDismountVolumesReply(reply, length, offset, &volume);
        },
        look);
}

void look_into_files(const ExactBlock& reply, const OpenFilesConnection& connection) {
    require_text(connection.userName);
    REQUIRE(connection.filesLength >= 0);
    if (connection.files != nullptr) {
        REQUIRE(connection.files >= reply.begin() && connection.files <= reply.end() &&
                connection.filesLength <= reply.end() - connection.files);
    }
    char name[kFileNameSize];
    int offset = 0;
    while (ScanOpenFileName(connection, &offset, name) == kOk) {
        REQUIRE(offset <= connection.filesLength);
        require_text(name);
    }
}

void drive_file_lists(std::string_view input) {
    walk<OpenFilesConnection>(
        input,
        [](char* reply, int length, int* offset, OpenFilesConnection& connection) {
            return ScanListOpenFilesByConnectionReply(reply, length, offset, &connection);
        },
        look_into_files);
    walk<FileLock>(
        input,
        [](char* reply, int length, int* offset, FileLock& lock) {
            return ScanListFileLocksByFileReply(reply, length, offset, &lock);
        },
        [](const ExactBlock&, const FileLock& lock) { require_text(lock.userName); });
}

} // namespace

void drive_management_replies(std::string_view input) {
    drive_names(input);
    drive_records(input);
    drive_mount_lists(input);
    drive_file_lists(input);
}

} // namespace zrp
