#include "common/requests/volume_mounting.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>
#include <utility>

#include "common/ascii_case.h"
#include "common/bounded_copy.h"
#include "common/engine/command.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr std::string_view kNameSeparators = " \t\r\n,;:";
constexpr char kNumberSign = '=';

// Words that a user types before the names.
constexpr std::string_view kNoiseWords[] = {"VOLUME", "VOLUMES"};

// More than the words around one volume's name, and its number.
constexpr size_t kVolumeRoom = 80;

// One volume of the text.
struct VolumeWord {
    char name[kMaxVolumeName + 1];
    int32_t number;
};

constexpr Command kMountAll = {tag::mountAll};
constexpr Command kDismountAll = {tag::dismountAll};

constexpr ReplyField kName[] = {whole_text<VolumeName>(tag::name)};
constexpr ReplyList kMountedByAll = command_list(tag::mountAll, tag::volume, kName);
constexpr ReplyList kDismountedByAll = command_list(tag::dismountAll, tag::volume, kName);

constexpr ReplyField kMountedVolume[] = {
    ZRP_FIELD(tag::name, kText, MountedVolume, name),
    ZRP_FIELD(tag::status, kNumber32, MountedVolume, status),
    ZRP_FIELD(tag::mountFailureCode, kDecimal, MountedVolume, mountFailureCode),
};
constexpr ReplyList kMounted = command_list(tag::mountVolumes, tag::volume, kMountedVolume);

constexpr ReplyField kDismountedVolume[] = {
    ZRP_FIELD(tag::name, kText, DismountedVolume, name),
    ZRP_FIELD(tag::dismountFailureCode, kDecimal, DismountedVolume, dismountFailureCode),
};
constexpr ReplyList kDismounted =
    command_list(tag::dismountVolumes, tag::volume, kDismountedVolume);

bool is_noise(std::string_view word) {
    return std::any_of(std::begin(kNoiseWords), std::end(kNoiseWords), [&](std::string_view noise) {
        return word.size() == noise.size() &&
               equal_ignoring_case(word.data(), noise.data(), noise.size());
    });
}

// The next word that is not noise; empty at the end of the text.
std::string_view next_word(std::string_view text) {
    for (;;) {
        text.remove_prefix(std::min(text.find_first_not_of(kNameSeparators), text.size()));
        const std::string_view word = text.substr(0, text.find_first_of(kNameSeparators));
        if (!is_noise(word)) {
            return word;
        }
        text.remove_prefix(word.size());
    }
}

int read_number(std::string_view digits, int32_t* number) {
    const char* end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, *number);
    return error == std::errc() && stop == end ? kOk : kInvalid;
}

// Takes the next volume from *text and moves *text past it. Returns kOk; kNoData when no volume is
// left; kNameTooLong as check_volume_name; kInvalid for an empty name and a number that 32 bits
// cannot hold.
int next_volume(const char** text, VolumeWord* word, const LogContext* log) {
    const std::string_view found = next_word(*text);
    if (found.empty()) {
        return kNoData;
    }
    const std::string_view name = found.substr(0, found.find(kNumberSign));
    if (name.empty()) {
        return kInvalid;
    }
    if (name.size() > kMaxVolumeName) {
        return check_volume_name(found.data(), log);
    }
    int32_t number = kUnchangedNumber;
    if (name.size() < found.size() && read_number(found.substr(name.size() + 1), &number) != kOk) {
        return kInvalid;
    }
    copy_cut(word->name, name.data(), name.size());
    word->number = number;
    *text = found.data() + found.size();
    return kOk;
}

// Walks the whole text. Returns kOk with the number of volumes, of which there must be some.
int count_volumes(const char* text, size_t* count, const LogContext* log) {
    if (text == nullptr) {
        return kInvalid;
    }
    *count = 0;
    VolumeWord word = {};
    int rc = kOk;
    while ((rc = next_volume(&text, &word, log)) == kOk) {
        ++*count;
    }
    if (rc != kNoData) {
        return rc;
    }
    return *count != 0 ? kOk : kInvalid;
}

// What a request says about each volume.
using WriteVolume = void (*)(XmlDocument& document, const NamedVolume& volume);

void write_mount(XmlDocument& document, const NamedVolume& volume) {
    WriteTextElement(document, tag::name, volume.name);
    WriteIntElement(document, tag::volumeNumber, volume.number);
}

void write_dismount(XmlDocument& document, const NamedVolume& volume) {
    WriteTextElement(document, tag::name, volume.name);
}

void write_volumes(XmlDocument& document, WriteVolume writeVolume, const NamedVolume& volume) {
    WriteOpenGroup(document, tag::volume);
    writeVolume(document, volume);
    WriteCloseGroup(document, tag::volume);
}

char* build_volumes(const char* command, const char* volumes, WriteVolume writeVolume,
                    uint32_t* length) {
    size_t count = 0;
    if (count_volumes(volumes, &count, nullptr) != kOk) {
        return refuse_request();
    }
    XmlDocument document = StartDocument(request_room(1, strlen(volumes)) + count * kVolumeRoom);
    WriteHead(document, tag::zrpConsoleRequest, command);
    VolumeWord word = {};
    while (next_volume(&volumes, &word, nullptr) == kOk) {
        write_volumes(document, writeVolume, {word.name, word.number});
    }
    WriteTrailer(document, command, tag::zrpConsoleRequest);
    return FinishDocument(document, length);
}

char* build_named(const char* command, std::span<const NamedVolume> volumes,
                  WriteVolume writeVolume, uint32_t* length) {
    size_t namesLength = 0;
    for (const NamedVolume& volume : volumes) {
        namesLength += volume.name != nullptr ? strlen(volume.name) : 0;
    }
    if (volumes.empty()) {
        return refuse_request();
    }
    XmlDocument document =
        StartDocument(request_room(1, namesLength) + volumes.size() * kVolumeRoom);
    WriteHead(document, tag::zrpConsoleRequest, command);
    for (const NamedVolume& volume : volumes) {
        write_volumes(document, writeVolume, volume);
    }
    WriteTrailer(document, command, tag::zrpConsoleRequest);
    return FinishDocument(document, length);
}

bool has_numbers(const char* volumes) {
    VolumeWord word = {};
    while (next_volume(&volumes, &word, nullptr) == kOk) {
        if (word.number != kUnchangedNumber) {
            return true;
        }
    }
    return false;
}

// Sends the request, and passes every volume of the reply to the callback. There must be some.
template <typename Volume>
int run_volumes(const char* volumes, char* (*build)(const char* volumes, uint32_t* length),
                const ReplyList& list,
                int (*scan)(char* reply, int replyLength, int* offset, Volume* volume),
                int (*callback)(void* context, const Volume& volume), void* context,
                const Caller& caller) {
    if (callback == nullptr) {
        return kInvalid;
    }
    size_t count = 0;
    int rc = count_volumes(volumes, &count, caller.log);
    if (rc != kOk) {
        return rc;
    }
    uint32_t length = 0;
    HeapText request(build(volumes, &length));
    int named = 0;
    rc = run_list(list, scan, std::move(request), length, caller, callback, context, &named);
    return rc == kOk && named == 0 ? int{kInvalid} : rc;
}

int scan_mounted_by_all(char* reply, int replyLength, int* offset, VolumeName* name) {
    return scan_record(kMountedByAll, reply, replyLength, offset, name);
}

int scan_dismounted_by_all(char* reply, int replyLength, int* offset, VolumeName* name) {
    return scan_record(kDismountedByAll, reply, replyLength, offset, name);
}

int run_all(const Command& command, const ReplyList& list,
            int (*scan)(char* reply, int replyLength, int* offset, VolumeName* name),
            VolumeNameCallback callback, void* context, const Caller& caller) {
    if (callback == nullptr) {
        return kInvalid;
    }
    uint32_t length = 0;
    HeapText request(build_command(command, {}, &length));
    return run_list(list, scan, std::move(request), length, caller, callback, context);
}

} // namespace

char* BuildMountAllRequest(uint32_t* length) {
    return build_command(kMountAll, {}, length);
}

int ScanMountAllReply(char* reply, int replyLength, int* offset, VolumeName& name) {
    return scan_mounted_by_all(reply, replyLength, offset, &name);
}

int MountAllVolumes(VolumeNameCallback callback, void* context, ErrorText* errorText,
                    const LogContext* log) {
    return run_all(kMountAll, kMountedByAll, scan_mounted_by_all, callback, context,
                   {errorText, log});
}

char* BuildDismountAllRequest(uint32_t* length) {
    return build_command(kDismountAll, {}, length);
}

int ScanDismountAllReply(char* reply, int replyLength, int* offset, VolumeName& name) {
    return scan_dismounted_by_all(reply, replyLength, offset, &name);
}

int DismountAllVolumes(VolumeNameCallback callback, void* context, ErrorText* errorText,
                       const LogContext* log) {
    return run_all(kDismountAll, kDismountedByAll, scan_dismounted_by_all, callback, context,
                   {errorText, log});
}

char* BuildMountVolumesRequest(const char* volumes, uint32_t* length) {
    return build_volumes(tag::mountVolumes, volumes, write_mount, length);
}

char* BuildMountNamedVolumesRequest(std::span<const NamedVolume> volumes, uint32_t* length) {
    return build_named(tag::mountVolumes, volumes, write_mount, length);
}

int ScanMountVolumesReply(char* reply, int replyLength, int* offset, MountedVolume* volume) {
    return scan_record(kMounted, reply, replyLength, offset, volume);
}

int MountVolumes(const char* volumes, MountCallback callback, void* context, ErrorText* errorText,
                 const LogContext* log) {
    return run_volumes(volumes, BuildMountVolumesRequest, kMounted, ScanMountVolumesReply, callback,
                       context, {errorText, log});
}

char* BuildDismountVolumesRequest(const char* volumes, uint32_t* length) {
    if (volumes != nullptr && has_numbers(volumes)) {
        return refuse_request();
    }
    return build_volumes(tag::dismountVolumes, volumes, write_dismount, length);
}

char* BuildDismountNamedVolumesRequest(std::span<const NamedVolume> volumes, uint32_t* length) {
    return build_named(tag::dismountVolumes, volumes, write_dismount, length);
}

int ScanDismountVolumesReply(char* reply, int replyLength, int* offset, DismountedVolume* volume) {
    return scan_record(kDismounted, reply, replyLength, offset, volume);
}

int DismountVolumes(const char* volumes, DismountCallback callback, void* context,
                    ErrorText* errorText, const LogContext* log) {
    return run_volumes(volumes, BuildDismountVolumesRequest, kDismounted, ScanDismountVolumesReply,
                       callback, context, {errorText, log});
}

} // namespace zrp
