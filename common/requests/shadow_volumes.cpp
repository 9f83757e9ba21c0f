#include "common/requests/shadow_volumes.h"

#include "common/engine/command.h"
#include "common/result.h"
#include "common/tags.h"

namespace zrp {
namespace {

constexpr ReplyField kShadowName[] = {whole_text<VolumeName>(tag::volumeName)};

constexpr RequestField kCreateShadowRequest[] = {
    {tag::volumeName, RequestField::kVolumeName},
    {tag::path, RequestField::kText},
    {tag::mountPoint, RequestField::kText},
    {tag::attributes, RequestField::kSigned},
};
constexpr Command kCreateShadow = {tag::shadow, tag::createVolume, kCreateShadowRequest,
                                   kShadowName};

constexpr RequestField kRemoveShadowRequest[] = {
    {tag::volumeName, RequestField::kVolumeName},
    {tag::mountPoint, RequestField::kOptionalText},
};
constexpr ReplyField kRemoveReply[] = {
    ZRP_FIELD(tag::volumeName, kText, RemovedShadow, volumeName),
    ZRP_FIELD(tag::shadowVolName, kText, RemovedShadow, shadowVolName),
};
constexpr Command kRemoveShadow = {tag::shadow, tag::removeVolume, kRemoveShadowRequest,
                                   kRemoveReply};

constexpr RequestField kConfigurationRequest[] = {
    {tag::volumeName, RequestField::kVolumeName},
    {tag::mountPoint, RequestField::kText},
    {tag::shadowVolName, RequestField::kText},
};
constexpr Command kConfiguration = {tag::shadow, tag::removeConf, kConfigurationRequest,
                                    kShadowName};

} // namespace

char* BuildCreateShadowVolumeRequest(const char* volumeName, const char* path,
                                     const char* mountPoint, int32_t attributes, uint32_t* length) {
    return build_command(kCreateShadow, {volumeName, path, mountPoint, attributes}, length);
}

int ScanCreateShadowVolumeReply(char* reply, int replyLength, VolumeName& created) {
    return scan_command(kCreateShadow, reply, replyLength, &created);
}

int CreateShadowVolume(const char* volumeName, const char* path, const char* mountPoint,
                       int32_t attributes, VolumeName& created, ErrorText* errorText,
                       const LogContext* log) {
    return run_command(kCreateShadow, {volumeName, path, mountPoint, attributes}, {errorText, log},
                       &created);
}

char* BuildRemoveShadowVolumeRequest(const char* volumeName, const char* mountPoint,
                                     uint32_t* length) {
    return build_command(kRemoveShadow, {volumeName, mountPoint}, length);
}

int ScanRemoveShadowVolumeReply(char* reply, int replyLength, RemovedShadow* removed) {
    return scan_command(kRemoveShadow, reply, replyLength, removed);
}

int RemoveShadowVolume(const char* volumeName, RemovedShadow* removed, ErrorText* errorText,
                       const LogContext* log) {
    return run_command(kRemoveShadow, {volumeName, nullptr}, {errorText, log}, removed);
}

int RemoveShadowVolumeAt(const char* volumeName, const char* mountPoint, RemovedShadow* removed,
                         ErrorText* errorText, const LogContext* log) {
    const Caller caller(errorText, log);
    return mountPoint == nullptr
               ? int{kInvalid}
               : run_command(kRemoveShadow, {volumeName, mountPoint}, caller, removed);
}

char* BuildRemoveShadowConfigurationRequest(const char* volumeName, const char* mountPoint,
                                            const char* shadowVolName, uint32_t* length) {
    return build_command(kConfiguration, {volumeName, mountPoint, shadowVolName}, length);
}

int ScanRemoveShadowConfigurationReply(char* reply, int replyLength, VolumeName& removed) {
    return scan_command(kConfiguration, reply, replyLength, &removed);
}

int RemoveShadowConfiguration(const char* volumeName, const char* mountPoint,
                              const char* shadowVolName, VolumeName& removed, ErrorText* errorText,
                              const LogContext* log) {
    return run_command(kConfiguration, {volumeName, mountPoint, shadowVolName}, {errorText, log},
                       &removed);
}

} // namespace zrp
