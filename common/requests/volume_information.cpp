#include "common/requests/volume_information.h"

#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "common/bounded_copy.h"
#include "common/engine/command.h"
#include "common/requests/volume_information_layouts.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/thread_limits.h"
#include "common/xml_scan.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

// Enough for the longest name that is let through.
constexpr size_t kInformationRoom = 1024;

constexpr ReplyList kVolumeItems = {
    {tag::zrpConsoleReply, tag::volumeInformation}, tag::volume, {}, kInvalid, kInvalid};

struct FoundVersion {
    int32_t version;
};

constexpr ReplyField kVersion = ZRP_FIELD(tag::versionTag, kDecimal, FoundVersion, version);

// A name that holds a '<' in a CDATA section is found only once, so it is kept.
int read_name(const XmlElement& volume, VolumeName& text) {
    XmlElement name;
    const int rc = find_inside(volume, tag::name, &name);
    if (rc != kOk || name.contentStart == nullptr || name.contentLength >= kVolumeNameSize) {
        return failure_of(rc, kInvalid);
    }
    copy_cut(text, name.contentStart, name.contentLength);
    return kOk;
}

int32_t number_at(const void* record, size_t offset) {
    int32_t number = 0;
    memcpy(&number, static_cast<const char*>(record) + offset, sizeof number);
    return number;
}

// Reads a text and lets the record's own pointer point at it.
int read_pointed_text(const ReplyField& field, size_t pointer, const XmlElement& volume,
                      void* record) {
    const int rc = read_field(field, volume, record);
    if (rc == kOk) {
        char* const text = static_cast<char*>(record) + field.offset;
        memcpy(static_cast<char*>(record) + pointer, &text, sizeof text);
    }
    return rc;
}

// The record is zero-filled before, but for its name.
int fill(const VolumeLayout& layout, const ReplyItem& volume, void* record) {
    int rc = read_fields(layout.head, volume, record);
    if (rc == kOk && !layout.pool.empty() && number_at(record, layout.mountPointType) != 0) {
        rc = read_fields(layout.pool, volume, record);
    }
    if (rc == kOk) {
        rc = read_pointed_text(layout.mountPointText, layout.mountPoint, volume, record);
    }
    if (rc != kOk) {
        return rc;
    }
    // Most volumes have no shadow.
    (void)read_pointed_text(layout.shadowText, layout.shadowMountPoint, volume, record);
    return read_fields(layout.tail, volume, record);
}

struct StatusWord {
    uint32_t bit;
    std::string_view set;
    std::string_view clear = {};
};

// In the order of the text.
constexpr StatusWord kStatusWords[] = {
    {0x1, "online "},
    {0x4, "activating "},
    {0x2, "mounted ", "dismounted "},
    {0x8, "\"being mounted\" "},
    {0x10000, "\"read only\" "},
    {0x1000000, "\"data migration\" "},
    {0x2000000, "compression "},
    {0x4000000, "sub-allocation "},
    {0x8000000, "\"immediate purge\" "},
    {0x80000000, "hidden "},
    {0x40000000, "BKS "},
    {0x800000, "\"cluster resource\" "},
    {0x20000000, "\"manage volume\" "},
    {0x80000, "\"user quotas\" "},
    {0x100000, "\"directory quotas\" "},
    {0x200000, "salvageable "},
    {0x2000, "\"posix permissions\" "},
};

constexpr size_t longest_text() {
    size_t length = 0;
    for (const StatusWord& word : kStatusWords) {
        length += word.set.size() > word.clear.size() ? word.set.size() : word.clear.size();
    }
    return length;
}

static_assert(longest_text() < kVolumeStatusTextSize);

} // namespace

char* BuildVolumeInformationRequest(const char* volumeName, uint32_t* length, int versionTag) {
    if (volumeName == nullptr || resolved_length(volumeName) > kMaxAskedVolumeName) {
        return refuse_request();
    }
    XmlDocument document = StartDocument(kInformationRoom);
    WriteHead(document, tag::zrpConsoleRequest, tag::volumeInformation);
    WriteOpenGroup(document, tag::volume);
    WriteReceivedName(document, tag::name, volumeName);
    WriteIntElement(document, tag::versionTag, versionTag);
    WriteCloseGroup(document, tag::volume);
    WriteTrailer(document, tag::volumeInformation, tag::zrpConsoleRequest);
    return FinishDocument(document, length);
}

int ScanVolumeInformationReply(char* reply, int replyLength, int* offset, int* versionTag,
                               VolumeRecord* record) {
    if (offset == nullptr || versionTag == nullptr || record == nullptr) {
        return kInvalid;
    }
    ReplyItem volume;
    int next = *offset;
    int rc = next_item(kVolumeItems, reply, replyLength, &next, &volume);
    FoundVersion found = {};
    if (rc == kOk) {
        rc = read_field(kVersion, volume, &found);
    }
    if (rc != kOk) {
        return failure_of(rc, kInvalid);
    }
    *versionTag = found.version;
    if (found.version > kMaxVolumeInformationVersion) {
        return kRange;
    }
    const VolumeLayout* layout = find_volume_layout(found.version);
    VolumeName name = {};
    rc = layout == nullptr ? int{kInvalid} : read_name(volume, name);
    if (rc != kOk) {
        return rc;
    }
    VolumeRecord filled(calloc(1, layout->size));
    if (filled == nullptr) {
        return kNoMemory;
    }
    memcpy(filled.get(), name, sizeof name); // every layout begins with it
    rc = fill(*layout, volume, filled.get());
    if (rc == kOk) {
        *offset = next;
    }
    if (rc == kOk || layout->keepsPartial) {
        *record = std::move(filled);
    }
    return rc;
}

int GetVolumeInformation(const char* volumeName, int* versionTag, VolumeRecord* record,
                         ErrorText* errorText, const LogContext* log) {
    const Caller caller(errorText, log);
    if (versionTag == nullptr || record == nullptr) {
        return kInvalid;
    }
    int rc = check_volume_name(volumeName, log);
    if (rc != kOk) {
        return rc;
    }
    uint32_t length = 0;
    HeapText request(BuildVolumeInformationRequest(volumeName, &length, *versionTag));
    Reply reply;
    rc = send_document(std::move(request), length, caller, &reply);
    int offset = 0;
    return rc == kOk ? ScanVolumeInformationReply(reply.text.get(), reply.length, &offset,
                                                  versionTag, record)
                     : rc;
}

void formatVolumeStatus(uint32_t status, char (&text)[kVolumeStatusTextSize]) {
    size_t length = 0;
    for (const StatusWord& word : kStatusWords) {
        const std::string_view chosen = (status & word.bit) != 0 ? word.set : word.clear;
        copy_cut(text + length, sizeof text - length, chosen.data(), chosen.size());
        length += chosen.size();
    }
}

} // namespace zrp
