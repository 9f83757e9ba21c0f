#include "common/requests/volume_management.h"

#include <utility>

#include "common/engine/management_command.h"
#include "common/result.h"
#include "common/tags.h"

namespace zrp {
namespace {

using VolumeName = char[kVolumeNameSize];

constexpr ReplyField kVolumeName[] = {whole_text<VolumeName>(tag::volumeName)};

constexpr ReplyField kModifiedVolume[] = {
    ZRP_FIELD(tag::volumeName, kText, ModifiedVolume, volumeName),
    ZRP_FIELD(tag::grant, kNumber32, ModifiedVolume, grant),
};

constexpr ManagementCommand kCreate = {tag::createVolume, nullptr, kVolumeName};
constexpr ManagementCommand kRemove = {tag::removeVolume, nullptr, kVolumeName};
constexpr ManagementCommand kModify = {tag::modifyVolume, nullptr, kModifiedVolume};
constexpr ManagementCommand kPurge = {tag::purgeVolume, nullptr, kVolumeName};

} // namespace

char* BuildCreateVolumeRequest(const char* volumeName, const char* mountPoint, int32_t attributes,
                               int32_t volumeNumber, uint32_t* length) {
    return build_command(
        kCreate,
        {text_child(tag::volumeName, volumeName), text_child(tag::mountPoint, mountPoint),
         signed_child(tag::attributes, attributes), signed_child(tag::volumeNumber, volumeNumber)},
        length);
}

int ScanCreateVolumeReply(char* reply, int replyLength, char (&created)[kVolumeNameSize]) {
    return scan_command(kCreate, reply, replyLength, &created);
}

int CreateVolume(const char* volumeName, const char* mountPoint, int32_t attributes,
                 int32_t volumeNumber, char (&created)[kVolumeNameSize], ErrorText* errorText,
                 const LogContext* log) {
    const int rc = check_volume_name(volumeName, log);
    if (rc != kOk) {
        return rc;
    }
    uint32_t length = 0;
    HeapText request(
        BuildCreateVolumeRequest(volumeName, mountPoint, attributes, volumeNumber, &length));
    return run_command(kCreate, std::move(request), length, errorText, log, &created);
}

char* BuildRemoveVolumeRequest(const char* volumeName, const char* options, uint32_t* length) {
    return build_command(
        kRemove,
        {text_child(tag::volumeName, volumeName), optional_text_child(tag::options, options)},
        length);
}

int ScanRemoveVolumeReply(char* reply, int replyLength, char (&removed)[kVolumeNameSize]) {
    return scan_command(kRemove, reply, replyLength, &removed);
}

int RemoveVolume(const char* volumeName, char (&removed)[kVolumeNameSize], ErrorText* errorText,
                 const LogContext* log) {
    return RemoveVolumeWithOptions(volumeName, nullptr, removed, errorText, log);
}

int RemoveVolumeWithOptions(const char* volumeName, const char* options,
                            char (&removed)[kVolumeNameSize], ErrorText* errorText,
                            const LogContext* log) {
    const int rc = check_volume_name(volumeName, log);
    if (rc != kOk) {
        return rc;
    }
    uint32_t length = 0;
    HeapText request(BuildRemoveVolumeRequest(volumeName, options, &length));
    return run_command(kRemove, std::move(request), length, errorText, log, &removed);
}

char* BuildModifyVolumeRequest(const char* volumeName, uint32_t grant, uint32_t revoke,
                               uint32_t* length) {
    return build_command(kModify,
                         {text_child(tag::volumeName, volumeName),
                          unsigned_child(tag::grant, grant), unsigned_child(tag::revoke, revoke)},
                         length);
}

int ScanModifyVolumeReply(char* reply, int replyLength, ModifiedVolume* volume) {
    return scan_command(kModify, reply, replyLength, volume);
}

int ModifyVolume(const char* volumeName, uint32_t grant, uint32_t revoke, ModifiedVolume* volume,
                 ErrorText* errorText, const LogContext* log) {
    const int rc = check_volume_name(volumeName, log);
    if (rc != kOk) {
        return rc;
    }
    uint32_t length = 0;
    HeapText request(BuildModifyVolumeRequest(volumeName, grant, revoke, &length));
    return run_command(kModify, std::move(request), length, errorText, log, volume);
}

char* BuildPurgeVolumeRequest(const char* volumeName, uint32_t* length) {
    return build_command(kPurge, {text_child(tag::volumeName, volumeName)}, length);
}

int ScanPurgeVolumeReply(char* reply, int replyLength, char (&purged)[kVolumeNameSize]) {
    return scan_command(kPurge, reply, replyLength, &purged);
}

int GetVolumeInformation(const char* volumeName, int* versionTag, VolumeRecord* record,
                         ErrorText* errorText, const LogContext* log) {
    if (versionTag == nullptr || record == nullptr) {
        return kInvalid;
    }
    int rc = check_volume_name(volumeName, log);
    if (rc != kOk) {
        return rc;
    }
    uint32_t length = 0;
    HeapText request(BuildVolumeInformationRequest(volumeName, &length, *versionTag));
    Reply reply;
    rc = run_operation(std::move(request), length, errorText, log, &reply);
    int offset = 0;
    return rc == kOk ? ScanVolumeInformationReply(reply.text.get(), reply.length, &offset,
                                                  versionTag, record)
                     : rc;
}

} // namespace zrp
