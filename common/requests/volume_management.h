// Making, changing, purging and removing volumes, writing them out, and the flags of their trees.
//
//  - A command has a builder, a scanner of its reply, and an operation that joins the two.
//  - A scanner returns kOk, or kInvalid when an element is missing. Texts are cut to their arrays.
//  - An operation refuses a volume name of more than kMaxVolumeName bytes with kNameTooLong,
//    without an exchange.
#pragma once
#include "../cplusplus.h"

#include <cstdint>

#include "../log/log_context.h"
#include "../volume_name.h"
#include "../xml_reader.h"

namespace zrp {

// The volume number that leaves the choice to the server.
inline constexpr int32_t kAnyVolumeNumber = -1;

// Makes a volume of a directory. attributes are bits of a volume's status (volume_information.h).
// The reply names the volume that was made.
char* BuildCreateVolumeRequest(const char* volumeName, const char* mountPoint, int32_t attributes,
                               int32_t volumeNumber, uint32_t* length);
int ScanCreateVolumeReply(char* reply, int replyLength, VolumeName& created);
int CreateVolume(const char* volumeName, const char* mountPoint, int32_t attributes,
                 int32_t volumeNumber, VolumeName& created, ErrorText* errorText,
                 const LogContext* log);

// Takes a volume out of the server; its directory stays. options is a word for the server, passed
// on unchanged; null sends none. The reply names the volume that was removed.
char* BuildRemoveVolumeRequest(const char* volumeName, const char* options, uint32_t* length);
int ScanRemoveVolumeReply(char* reply, int replyLength, VolumeName& removed);
int RemoveVolume(const char* volumeName, VolumeName& removed, ErrorText* errorText,
                 const LogContext* log);
int RemoveVolumeWithOptions(const char* volumeName, const char* options, VolumeName& removed,
                            ErrorText* errorText, const LogContext* log);

struct ModifiedVolume {
    VolumeName volumeName;
    uint32_t grant; // the attributes that the volume now has
};

// Sets the attribute bits of grant and clears those of revoke. Both elements are always sent; 0
// changes nothing.
char* BuildModifyVolumeRequest(const char* volumeName, uint32_t grant, uint32_t revoke,
                               uint32_t* length);
int ScanModifyVolumeReply(char* reply, int replyLength, ModifiedVolume* volume);
int ModifyVolume(const char* volumeName, uint32_t grant, uint32_t revoke, ModifiedVolume* volume,
                 ErrorText* errorText, const LogContext* log);

// Purges the deleted files of a volume. The reply names the volume.
char* BuildPurgeVolumeRequest(const char* volumeName, uint32_t* length);
int ScanPurgeVolumeReply(char* reply, int replyLength, VolumeName& purged);
int PurgeVolume(const char* volumeName, VolumeName& purged, ErrorText* errorText,
                const LogContext* log);

// Makes the server write out what it holds back for all volumes.
char* BuildFlushVolumesRequest(uint32_t* length);
int ScanFlushVolumesReply(char* reply, int replyLength);
int FlushVolumes(ErrorText* errorText, const LogContext* log);

inline constexpr int kVolumeTreeVersion = 1;

// Sets the control flags of a volume's tree. The name may have about 3900 bytes in the request; of
// the reply, the operation looks only at a failure.
char* BuildVolumeTreeControlRequest(int versionTag, const char* volumeName, uint32_t controlFlags,
                                    uint32_t* length);
int VolumeTreeControl(const char* volumeName, uint32_t controlFlags, ErrorText* errorText,
                      const LogContext* log);

} // namespace zrp
