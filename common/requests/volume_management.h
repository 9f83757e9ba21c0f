// Making, changing, purging and removing volumes, and asking for the state of one.
//
//  - Each command has a builder, a scanner of its reply and, but for the purge, an operation that
//    joins the two. operation.h says what all operations have in common.
//  - A builder returns a malloc'ed document, or null with errno 12 without memory and 22 for a
//    text that is null or not sendable (xml_writer.h).
//  - A scanner returns 0, or 22 for an empty reply and when an element is missing. Texts are cut to
//    their arrays. A failure leaves the record as it was.
//  - An operation returns 22 for a null text and -702 for a volume name of more than 15 bytes,
//    both without an exchange; else what run_operation returned, or the scanner's code.
#pragma once

#include <cstdint>

#include "../engine/operation.h"
#include "volume_information.h"

namespace zrp {

// The volume number that leaves the choice to the server.
inline constexpr int32_t kAnyVolumeNumber = -1;

// Makes a volume of a directory. attributes are bits of a volume's status (volume_status.h). The
// reply names the volume that was made.
char* BuildCreateVolumeRequest(const char* volumeName, const char* mountPoint, int32_t attributes,
                               int32_t volumeNumber, uint32_t* length);
int ScanCreateVolumeReply(char* reply, int replyLength, char (&created)[kVolumeNameSize]);
int CreateVolume(const char* volumeName, const char* mountPoint, int32_t attributes,
                 int32_t volumeNumber, char (&created)[kVolumeNameSize], ErrorText* errorText,
                 const LogContext* log);

// Takes a volume out of the server; its directory stays. options is a word for the server, passed
// on as it stands; null sends none. The reply names the volume that was removed.
char* BuildRemoveVolumeRequest(const char* volumeName, const char* options, uint32_t* length);
int ScanRemoveVolumeReply(char* reply, int replyLength, char (&removed)[kVolumeNameSize]);
int RemoveVolume(const char* volumeName, char (&removed)[kVolumeNameSize], ErrorText* errorText,
                 const LogContext* log);
int RemoveVolumeWithOptions(const char* volumeName, const char* options,
                            char (&removed)[kVolumeNameSize], ErrorText* errorText,
                            const LogContext* log);

struct ModifiedVolume {
    char volumeName[kVolumeNameSize];
    uint32_t grant; // the attributes that the volume has now
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
int ScanPurgeVolumeReply(char* reply, int replyLength, char (&purged)[kVolumeNameSize]);

// The state of one volume, with the builder and the scanner of volume_information.h. *versionTag is
// the version asked for and becomes the one of the reply, which says what layout *record has. A
// name of 16 bytes is refused here, though the builder takes it.
int GetVolumeInformation(const char* volumeName, int* versionTag, VolumeRecord* record,
                         ErrorText* errorText, const LogContext* log);

} // namespace zrp
