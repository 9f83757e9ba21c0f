#include "common/requests/shadow_volumes.h"

#include <utility>

#include "common/engine/management_command.h"
#include "common/result.h"
#include "common/tags.h"

namespace zrp {
namespace {

using VolumeName = char[kVolumeNameSize];

constexpr ReplyField kVolumeName[] = {whole_text<VolumeName>(tag::volumeName)};

constexpr ReplyField kRemovedShadow[] = {
    ZRP_FIELD(tag::volumeName, kText, RemovedShadow, volumeName),
    ZRP_FIELD(tag::shadowVolName, kText, RemovedShadow, shadowVolName),
};

constexpr ManagementCommand kCreate = {tag::shadow, tag::createVolume, kVolumeName};
constexpr ManagementCommand kRemove = {tag::shadow, tag::removeVolume, kRemovedShadow};
constexpr ManagementCommand kRemoveConfiguration = {tag::shadow, tag::removeConf, kVolumeName};

int remove_shadow(const char* volumeName, const char* mountPoint, RemovedShadow* removed,
                  ErrorText* errorText, const LogContext* log) {
    const int rc = check_volume_name(volumeName, log);
    if (rc != kOk) {
        return rc;
    }
    uint32_t length = 0;
    HeapText request(BuildRemoveShadowVolumeRequest(volumeName, mountPoint, &length));
    return run_command(kRemove, std::move(request), length, errorText, log, removed);
}

} // namespace

char* BuildCreateShadowVolumeRequest(const char* volumeName, const char* path,
                                     const char* mountPoint, int32_t attributes, uint32_t* length) {
    return build_command(kCreate,
                         {text_child(tag::volumeName, volumeName), text_child(tag::path, path),
                          text_child(tag::mountPoint, mountPoint),
                          signed_child(tag::attributes, attributes)},
                         length);
}

int ScanCreateShadowVolumeReply(char* reply, int replyLength, char (&created)[kVolumeNameSize]) {
    return scan_command(kCreate, reply, replyLength, &created);
}

int CreateShadowVolume(const char* volumeName, const char* path, const char* mountPoint,
                       int32_t attributes, char (&created)[kVolumeNameSize], ErrorText* errorText,
                       const LogContext* log) {
    const int rc = check_volume_name(volumeName, log);
    if (rc != kOk) {
        return rc;
    }
    uint32_t length = 0;
    HeapText request(
        BuildCreateShadowVolumeRequest(volumeName, path, mountPoint, attributes, &length));
    return run_command(kCreate, std::move(request), length, errorText, log, &created);
}

char* BuildRemoveShadowVolumeRequest(const char* volumeName, const char* mountPoint,
                                     uint32_t* length) {
    return build_command(
        kRemove,
        {text_child(tag::volumeName, volumeName), optional_text_child(tag::mountPoint, mountPoint)},
        length);
}

int ScanRemoveShadowVolumeReply(char* reply, int replyLength, RemovedShadow* removed) {
    return scan_command(kRemove, reply, replyLength, removed);
}

int RemoveShadowVolume(const char* volumeName, RemovedShadow* removed, ErrorText* errorText,
                       const LogContext* log) {
    return remove_shadow(volumeName, nullptr, removed, errorText, log);
}

int RemoveShadowVolumeAt(const char* volumeName, const char* mountPoint, RemovedShadow* removed,
                         ErrorText* errorText, const LogContext* log) {
    if (mountPoint == nullptr) {
        return kInvalid;
    }
    return remove_shadow(volumeName, mountPoint, removed, errorText, log);
}

char* BuildRemoveShadowConfigurationRequest(const char* volumeName, const char* mountPoint,
                                            const char* shadowVolName, uint32_t* length) {
    return build_command(kRemoveConfiguration,
                         {text_child(tag::volumeName, volumeName),
                          text_child(tag::mountPoint, mountPoint),
                          text_child(tag::shadowVolName, shadowVolName)},
                         length);
}

int ScanRemoveShadowConfigurationReply(char* reply, int replyLength,
                                       char (&removed)[kVolumeNameSize]) {
    return scan_command(kRemoveConfiguration, reply, replyLength, &removed);
}

int RemoveShadowConfiguration(const char* volumeName, const char* mountPoint,
                              const char* shadowVolName, char (&removed)[kVolumeNameSize],
                              ErrorText* errorText, const LogContext* log) {
    const int rc = check_volume_name(volumeName, log);
    if (rc != kOk) {
        return rc;
    }
    uint32_t length = 0;
    HeapText request(
        BuildRemoveShadowConfigurationRequest(volumeName, mountPoint, shadowVolName, &length));
    return run_command(kRemoveConfiguration, std::move(request), length, errorText, log, &removed);
}

} // namespace zrp
