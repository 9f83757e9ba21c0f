#include "common/requests/volume_mounting.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "common/engine/management_command.h"
#include "common/requests/volume_words.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

// More than the words around one volume's name, and its number.
constexpr size_t kVolumeRoom = 80;

constexpr size_t kChildlessRoom = 256;

using VolumeName = char[kVolumeNameSize];

constexpr ReplyField kName[] = {whole_text<VolumeName>(tag::name)};

constexpr ReplyField kMounted[] = {
    ZRP_FIELD(tag::name, kText, MountedVolume, name),
    ZRP_FIELD(tag::status, kNumber32, MountedVolume, status),
    ZRP_FIELD(tag::mountFailureCode, kDecimal, MountedVolume, mountFailureCode),
};

constexpr ReplyField kDismounted[] = {
    ZRP_FIELD(tag::name, kText, DismountedVolume, name),
    ZRP_FIELD(tag::dismountFailureCode, kDecimal, DismountedVolume, dismountFailureCode),
};

constexpr ManagementList kMountAll = {management_list(tag::mountAll, tag::volume), kName};
constexpr ManagementList kDismountAll = {management_list(tag::dismountAll, tag::volume), kName};
constexpr ManagementList kMount = {management_list(tag::mountVolumes, tag::volume), kMounted};
constexpr ManagementList kDismount = {management_list(tag::dismountVolumes, tag::volume),
                                      kDismounted};

char* build_childless(const char* command, uint32_t* length) {
    XmlDocument document = start_document(kChildlessRoom);
    WriteChildless(document, tag::zrpConsoleRequest, command);
    return finish_document(document, length);
}

// What a request says about each volume.
using WriteVolume = void (*)(XmlDocument& document, const VolumeWord& word);

void write_mount(XmlDocument& document, const VolumeWord& word) {
    WriteTextElement(document, tag::name, word.name);
    WriteIntElement(document, tag::volumeNumber, word.number);
}

void write_dismount(XmlDocument& document, const VolumeWord& word) {
    WriteTextElement(document, tag::name, word.name);
}

char* build_volumes(const char* command, const char* volumes, WriteVolume writeVolume,
                    uint32_t* length) {
    size_t count = 0;
    if (volumes == nullptr || count_volume_words(volumes, &count, nullptr) != kOk) {
        errno = EINVAL;
        return nullptr;
    }
    XmlDocument document = start_document(request_room(1, strlen(volumes)) + count * kVolumeRoom);
    WriteHead(document, tag::zrpConsoleRequest, command);
    VolumeWord word;
    while (next_volume_word(&volumes, &word, nullptr) == kOk) {
        WriteOpenGroup(document, tag::volume);
        writeVolume(document, word);
        WriteCloseGroup(document, tag::volume);
    }
    WriteTrailer(document, command, tag::zrpConsoleRequest);
    return finish_document(document, length);
}

bool has_numbers(const char* volumes) {
    VolumeWord word;
    while (next_volume_word(&volumes, &word, nullptr) == kOk) {
        if (word.number != kOwnVolumeNumber) {
            return true;
        }
    }
    return false;
}

// Sends the document and gives every volume of the reply to the callback.
template <typename Volume>
int run_volumes(HeapText document, uint32_t length,
                int (*scan)(char* reply, int replyLength, int* offset, Volume* volume),
                int (*callback)(void* context, const Volume& volume), void* context,
                ErrorText* errorText, const LogContext* log) {
    Reply reply;
    int rc = run_operation(std::move(document), length, errorText, log, &reply);
    if (rc != kOk) {
        return rc;
    }
    int count = 0;
    rc = give_all(scan, reply, callback, context, &count);
    return rc == kOk && count == 0 ? kInvalid : rc;
}

} // namespace

char* BuildMountAllRequest(uint32_t* length) {
    return build_childless(tag::mountAll, length);
}

int ScanMountAllReply(char* reply, int replyLength, int* offset, char (&name)[kVolumeNameSize]) {
    return scan_next(kMountAll, reply, replyLength, offset, &name);
}

char* BuildDismountAllRequest(uint32_t* length) {
    return build_childless(tag::dismountAll, length);
}

int ScanDismountAllReply(char* reply, int replyLength, int* offset, char (&name)[kVolumeNameSize]) {
    return scan_next(kDismountAll, reply, replyLength, offset, &name);
}

char* BuildMountVolumesRequest(const char* volumes, uint32_t* length) {
    return build_volumes(tag::mountVolumes, volumes, write_mount, length);
}

int ScanMountVolumesReply(char* reply, int replyLength, int* offset, MountedVolume* volume) {
    return scan_next(kMount, reply, replyLength, offset, volume);
}

int MountVolumes(const char* volumes, MountCallback callback, void* context, ErrorText* errorText,
                 const LogContext* log) {
    if (callback == nullptr) {
        return kInvalid;
    }
    size_t count = 0;
    const int rc = count_volume_words(volumes, &count, log);
    if (rc != kOk) {
        return rc;
    }
    uint32_t length = 0;
    HeapText request(BuildMountVolumesRequest(volumes, &length));
    return run_volumes(std::move(request), length, ScanMountVolumesReply, callback, context,
                       errorText, log);
}

char* BuildDismountVolumesRequest(const char* volumes, uint32_t* length) {
    if (volumes != nullptr && has_numbers(volumes)) {
        errno = EINVAL;
        return nullptr;
    }
    return build_volumes(tag::dismountVolumes, volumes, write_dismount, length);
}

int ScanDismountVolumesReply(char* reply, int replyLength, int* offset, DismountedVolume* volume) {
    return scan_next(kDismount, reply, replyLength, offset, volume);
}

int DismountVolumes(const char* volumes, DismountCallback callback, void* context,
                    ErrorText* errorText, const LogContext* log) {
    if (callback == nullptr) {
        return kInvalid;
    }
    size_t count = 0;
    const int rc = count_volume_words(volumes, &count, log);
    if (rc != kOk) {
        return rc;
    }
    uint32_t length = 0;
    HeapText request(BuildDismountVolumesRequest(volumes, &length));
    return run_volumes(std::move(request), length, ScanDismountVolumesReply, callback, context,
                       errorText, log);
}

} // namespace zrp
