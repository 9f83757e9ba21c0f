// Shadow volumes: a second directory that belongs to a volume.
//
//  - The three commands are groups of the one command `shadow`; their conventions are those of
//    volume_management.h.
//  - A volume is named by volumeName, which is limited to kMaxVolumeName bytes. The name of a
//    shadow is the server's own and may be longer: send it as a reply gave it.
//  - mountPoint is the primary volume's. Where it may be null, the server goes by the name alone.
#pragma once
#include "../cplusplus.h"

#include <cstdint>

#include "../log/log_context.h"
#include "../volume_name.h"
#include "../xml_reader.h"

namespace zrp {

// Gives a volume a shadow in the directory path. attributes are bits of a volume's status. The
// reply names the volume.
char* BuildCreateShadowVolumeRequest(const char* volumeName, const char* path,
                                     const char* mountPoint, int32_t attributes, uint32_t* length);
int ScanCreateShadowVolumeReply(char* reply, int replyLength, VolumeName& created);
int CreateShadowVolume(const char* volumeName, const char* path, const char* mountPoint,
                       int32_t attributes, VolumeName& created, ErrorText* errorText,
                       const LogContext* log);

struct RemovedShadow {
    VolumeName volumeName;
    VolumeName shadowVolName; // for RemoveShadowConfiguration
};

// Takes the shadow from a volume; its configuration stays. RemoveShadowVolume asks by the volume's
// name alone, RemoveShadowVolumeAt also by its mount point, so that the server refuses a volume of
// that name elsewhere.
char* BuildRemoveShadowVolumeRequest(const char* volumeName, const char* mountPoint,
                                     uint32_t* length); // mountPoint may be null
int ScanRemoveShadowVolumeReply(char* reply, int replyLength, RemovedShadow* removed);
int RemoveShadowVolume(const char* volumeName, RemovedShadow* removed, ErrorText* errorText,
                       const LogContext* log);
int RemoveShadowVolumeAt(const char* volumeName, const char* mountPoint, RemovedShadow* removed,
                         ErrorText* errorText, const LogContext* log);

// Forgets the configuration of a shadow. The reply names the volume.
char* BuildRemoveShadowConfigurationRequest(const char* volumeName, const char* mountPoint,
                                            const char* shadowVolName, uint32_t* length);
int ScanRemoveShadowConfigurationReply(char* reply, int replyLength, VolumeName& removed);
int RemoveShadowConfiguration(const char* volumeName, const char* mountPoint,
                              const char* shadowVolName, VolumeName& removed, ErrorText* errorText,
                              const LogContext* log);

} // namespace zrp
