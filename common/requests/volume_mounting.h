// Mounting and dismounting volumes: some that are named, or all.
//
// The volumes of MountVolumes and DismountVolumes are one text, as a user types it: names of at
// most 15 bytes with blanks, tabs, line ends, commas, semicolons or colons between them. The
// words "VOLUME" and "VOLUMES", in any case, are left out wherever they stand, so that
// "volumes DATA, HOME" names two volumes. NAME=NUMBER mounts a volume under that number; a number
// has no meaning for a dismount and is refused there. A name that holds an entity cannot be named
// so, since its semicolon ends the word: its "&" is then refused.
//
//  - Mounting or dismounting all has a builder and a scanner, the named forms an operation too.
//  - A builder returns a malloc'ed document, or null with errno 12 without memory and 22 for a text
//    that is null, names no volume, is malformed or not sendable (xml_writer.h).
//  - A scanner reads the next volume of a reply: *offset is 0 before the first call and is moved
//    behind the volume. It returns 0; 34 when no volume is left; 22 for an empty reply and when an
//    element is missing. Names are cut to their arrays. A failure leaves the outputs as they were.
#pragma once

#include <cstdint>

#include "../engine/operation.h"
#include "volume_information.h"

namespace zrp {

// Both replies name the volumes that changed; there may be none.
char* BuildMountAllRequest(uint32_t* length);
int ScanMountAllReply(char* reply, int replyLength, int* offset, char (&name)[kVolumeNameSize]);

char* BuildDismountAllRequest(uint32_t* length);
int ScanDismountAllReply(char* reply, int replyLength, int* offset, char (&name)[kVolumeNameSize]);

struct MountedVolume {
    char name[kVolumeNameSize];
    uint32_t status;          // bits with the words of volume_status.h
    int32_t mountFailureCode; // 0 when the volume was mounted
};

struct DismountedVolume {
    char name[kVolumeNameSize];
    int32_t dismountFailureCode; // 0 when the volume was dismounted
};

// Called for each volume of the reply. Returns 0 to go on, anything else to stop.
using MountCallback = int (*)(void* context, const MountedVolume& volume);
using DismountCallback = int (*)(void* context, const DismountedVolume& volume);

char* BuildMountVolumesRequest(const char* volumes, uint32_t* length);
int ScanMountVolumesReply(char* reply, int replyLength, int* offset, MountedVolume* volume);

// Mounts the volumes and gives what became of each to the callback. That some could not be mounted
// is no failure of the operation. Returns 0; 22 for a text that the builder refuses and -702 for a
// name of more than 15 bytes, both without an exchange; what run_operation returned; 22 for a
// reply that is malformed or tells of no volume; or what the callback returned to stop.
int MountVolumes(const char* volumes, MountCallback callback, void* context, ErrorText* errorText,
                 const LogContext* log);

char* BuildDismountVolumesRequest(const char* volumes, uint32_t* length);
int ScanDismountVolumesReply(char* reply, int replyLength, int* offset, DismountedVolume* volume);

// The same for dismounting.
int DismountVolumes(const char* volumes, DismountCallback callback, void* context,
                    ErrorText* errorText, const LogContext* log);

} // namespace zrp
