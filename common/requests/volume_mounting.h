// Mounting and dismounting volumes: those that are named, or all.
//
// The volumes of MountVolumes and DismountVolumes are one text, as a user types it: names of at
// most kMaxVolumeName bytes with blanks, tabs, line ends, commas, semicolons or colons between
// them. The words "VOLUME" and "VOLUMES", in any case, are left out wherever they are, so that
// "volumes DATA, HOME" names two volumes. NAME=NUMBER mounts a volume under that number; a number
// has no meaning for a dismount and is refused there. A name that holds an entity cannot be given
// this way, since its semicolon ends the word: its "&" is then refused.
//
//  - A builder also refuses a text that names no volume or is malformed.
//  - A scanner reads the next volume of a reply: *offset is 0 before the first call and is moved
//    past the volume. It returns kOk; kRange when no volume is left; kInvalid when an element is
//    missing. Names are cut to their arrays.
#pragma once
#include "../cplusplus.h"

#include <cstdint>
#include <span>

#include "../log/log_context.h"
#include "../volume_name.h"
#include "../xml_reader.h"

namespace zrp {

// Called for each name. Returns 0 to go on, anything else to stop.
using VolumeNameCallback = int (*)(void* context, const VolumeName& name);

// Both replies name the volumes that changed; there may be none. The operations pass the names to
// the callback.
char* BuildMountAllRequest(uint32_t* length);
int ScanMountAllReply(char* reply, int replyLength, int* offset, VolumeName& name);
int MountAllVolumes(VolumeNameCallback callback, void* context, ErrorText* errorText,
                    const LogContext* log);

char* BuildDismountAllRequest(uint32_t* length);
int ScanDismountAllReply(char* reply, int replyLength, int* offset, VolumeName& name);
int DismountAllVolumes(VolumeNameCallback callback, void* context, ErrorText* errorText,
                       const LogContext* log);

struct MountedVolume {
    VolumeName name;
    uint32_t status;          // bits with the words of formatVolumeStatus (volume_information.h)
    int32_t mountFailureCode; // 0 when the volume was mounted
};

struct DismountedVolume {
    VolumeName name;
    int32_t dismountFailureCode; // 0 when the volume was dismounted
};

// Called for each volume of the reply. Returns 0 to go on, anything else to stop.
using MountCallback = int (*)(void* context, const MountedVolume& volume);
using DismountCallback = int (*)(void* context, const DismountedVolume& volume);

inline constexpr int32_t kUnchangedNumber = -1;

// A volume that is not part of a text: its name may hold what separates names there.
struct NamedVolume {
    const char* name;
    int32_t number = kUnchangedNumber; // under which it is mounted
};

char* BuildMountVolumesRequest(const char* volumes, uint32_t* length);
char* BuildMountNamedVolumesRequest(std::span<const NamedVolume> volumes, uint32_t* length);
int ScanMountVolumesReply(char* reply, int replyLength, int* offset, MountedVolume* volume);

// Mounts the volumes and passes what became of each to the callback. That some could not be mounted
// is no failure of the operation. Returns kOk; without an exchange, kInvalid for a text that the
// builder refuses and kNameTooLong for a longer name; the codes of the exchange; kInvalid for a
// reply that is malformed or names no volume; or what the callback returned to stop.
int MountVolumes(const char* volumes, MountCallback callback, void* context, ErrorText* errorText,
                 const LogContext* log);

// The second one does not look at the numbers.
char* BuildDismountVolumesRequest(const char* volumes, uint32_t* length);
char* BuildDismountNamedVolumesRequest(std::span<const NamedVolume> volumes, uint32_t* length);
int ScanDismountVolumesReply(char* reply, int replyLength, int* offset, DismountedVolume* volume);

// The same for dismounting.
int DismountVolumes(const char* volumes, DismountCallback callback, void* context,
                    ErrorText* errorText, const LogContext* log);

} // namespace zrp
