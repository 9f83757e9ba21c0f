#include "common/requests/volume_management.h"

#include "common/engine/command.h"
#include "common/result.h"
#include "common/tags.h"

namespace zrp {
namespace {

constexpr ReplyField kNamedVolume[] = {whole_text<VolumeName>(tag::volumeName)};

constexpr RequestField kCreateRequest[] = {
    {tag::volumeName, RequestField::kVolumeName},
    {tag::mountPoint, RequestField::kText},
    {tag::attributes, RequestField::kSigned},
    {tag::volumeNumber, RequestField::kSigned},
};
constexpr Command kCreate = {tag::createVolume, nullptr, kCreateRequest, kNamedVolume};

constexpr RequestField kRemoveRequest[] = {
    {tag::volumeName, RequestField::kVolumeName},
    {tag::options, RequestField::kOptionalText},
};
constexpr Command kRemove = {tag::removeVolume, nullptr, kRemoveRequest, kNamedVolume};

constexpr RequestField kModifyRequest[] = {
    {tag::volumeName, RequestField::kVolumeName},
    {tag::grant, RequestField::kUnsigned},
    {tag::revoke, RequestField::kUnsigned},
};
constexpr ReplyField kModifyReply[] = {
    ZRP_FIELD(tag::volumeName, kText, ModifiedVolume, volumeName),
    ZRP_FIELD(tag::grant, kNumber32, ModifiedVolume, grant),
};
constexpr Command kModify = {tag::modifyVolume, nullptr, kModifyRequest, kModifyReply};

constexpr RequestField kPurgeRequest[] = {{tag::volumeName, RequestField::kVolumeName}};
constexpr Command kPurge = {tag::purgeVolume, nullptr, kPurgeRequest, kNamedVolume};

constexpr Command kFlush = {tag::flushVolumes};

constexpr RequestField kTreeRequest[] = {
    {tag::versionTag, RequestField::kSigned},
    {tag::volumeName, RequestField::kVolumeName},
    {control::controlFlags, RequestField::kUnsigned},
};
constexpr Command kTree = {control::VTCRequest, nullptr, kTreeRequest, {}, 4096};

} // namespace

char* BuildCreateVolumeRequest(const char* volumeName, const char* mountPoint, int32_t attributes,
                               int32_t volumeNumber, uint32_t* length) {
    return build_command(kCreate, {volumeName, mountPoint, attributes, volumeNumber}, length);
}

int ScanCreateVolumeReply(char* reply, int replyLength, VolumeName& created) {
    return scan_command(kCreate, reply, replyLength, &created);
}

int CreateVolume(const char* volumeName, const char* mountPoint, int32_t attributes,
                 int32_t volumeNumber, VolumeName& created, ErrorText* errorText,
                 const LogContext* log) {
    return run_command(kCreate, {volumeName, mountPoint, attributes, volumeNumber},
                       {errorText, log}, &created);
}

char* BuildRemoveVolumeRequest(const char* volumeName, const char* options, uint32_t* length) {
    return build_command(kRemove, {volumeName, options}, length);
}

int ScanRemoveVolumeReply(char* reply, int replyLength, VolumeName& removed) {
    return scan_command(kRemove, reply, replyLength, &removed);
}

int RemoveVolume(const char* volumeName, VolumeName& removed, ErrorText* errorText,
                 const LogContext* log) {
    return RemoveVolumeWithOptions(volumeName, nullptr, removed, errorText, log);
}

int RemoveVolumeWithOptions(const char* volumeName, const char* options, VolumeName& removed,
                            ErrorText* errorText, const LogContext* log) {
    return run_command(kRemove, {volumeName, options}, {errorText, log}, &removed);
}

char* BuildModifyVolumeRequest(const char* volumeName, uint32_t grant, uint32_t revoke,
                               uint32_t* length) {
    return build_command(kModify, {volumeName, grant, revoke}, length);
}

int ScanModifyVolumeReply(char* reply, int replyLength, ModifiedVolume* volume) {
    return scan_command(kModify, reply, replyLength, volume);
}

int ModifyVolume(const char* volumeName, uint32_t grant, uint32_t revoke, ModifiedVolume* volume,
                 ErrorText* errorText, const LogContext* log) {
    return run_command(kModify, {volumeName, grant, revoke}, {errorText, log}, volume);
}

char* BuildPurgeVolumeRequest(const char* volumeName, uint32_t* length) {
    return build_command(kPurge, {volumeName}, length);
}

int ScanPurgeVolumeReply(char* reply, int replyLength, VolumeName& purged) {
    return scan_command(kPurge, reply, replyLength, &purged);
}

int PurgeVolume(const char* volumeName, VolumeName& purged, ErrorText* errorText,
                const LogContext* log) {
    return run_command(kPurge, {volumeName}, {errorText, log}, &purged);
}

char* BuildFlushVolumesRequest(uint32_t* length) {
    return build_command(kFlush, {}, length);
}

int ScanFlushVolumesReply(char* reply, int replyLength) {
    return scan_command(kFlush, reply, replyLength);
}

int FlushVolumes(ErrorText* errorText, const LogContext* log) {
    return run_command(kFlush, {}, {errorText, log});
}

char* BuildVolumeTreeControlRequest(int versionTag, const char* volumeName, uint32_t controlFlags,
                                    uint32_t* length) {
    return build_command(kTree, {versionTag, volumeName, controlFlags}, length);
}

int VolumeTreeControl(const char* volumeName, uint32_t controlFlags, ErrorText* errorText,
                      const LogContext* log) {
    Reply reply;
    return send_command(kTree, {kVolumeTreeVersion, volumeName, controlFlags}, {errorText, log},
                        &reply);
}

} // namespace zrp
