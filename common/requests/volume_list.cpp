#include "common/requests/volume_list.h"

#include "common/bounded_copy.h"
#include "common/engine/reply_fields.h"
#include "common/engine/reply_list.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/xml_reader.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kRequestRoom = 256;

constexpr ReplyList kVolumes = {{tag::listVolumes}, tag::volume, kNotFound, kRange};

// A volume is handed over only when it is complete, so it is collected here first.
struct FoundVolume {
    ListedName name;
    uint32_t status;
    int64_t volumeNumber;
};

constexpr ReplyField kStatus = ZRP_FIELD(tag::status, kNumber32, FoundVolume, status);
constexpr ReplyField kNumber = ZRP_FIELD(tag::volumeNumber, kDecimal64, FoundVolume, volumeNumber);

void hand_over(const FoundVolume& found, ListedName* name, uint32_t* status,
               int64_t* volumeNumber) {
    if (name != nullptr) {
        copy_cut(*name, found.name);
    }
    if (status != nullptr) {
        *status = found.status;
    }
    if (volumeNumber != nullptr) {
        *volumeNumber = found.volumeNumber;
    }
}

} // namespace

char* BuildListVolumesRequest(int startIndex, uint32_t* length) {
    XmlDocument document = start_document(kRequestRoom);
    WriteOpenGroup(document, tag::zrpConsoleRequest);
    WriteOpenGroup(document, tag::listVolumes);
    if (startIndex != 0) {
        WriteIntElement(document, tag::startIndex, startIndex);
    }
    WriteCloseGroup(document, tag::listVolumes);
    WriteCloseGroup(document, tag::zrpConsoleRequest);
    return finish_document(document, length);
}

int scan_listed_volume(char* reply, int replyLength, int* offset, ListedName* name,
                       uint32_t* status, int64_t* volumeNumber) {
    if (offset == nullptr) {
        return kInvalid;
    }
    XmlElement volume;
    int next = *offset;
    int rc = next_item(kVolumes, reply, replyLength, &next, &volume);
    if (rc != kOk) {
        return rc;
    }
    FoundVolume found;
    if (name != nullptr) {
        rc =
            GetTagString(tag::name, volume.contentStart, static_cast<int32_t>(volume.contentLength),
                         sizeof found.name, found.name);
    }
    if (rc == kOk && status != nullptr) {
        rc = read_field(kStatus, volume, &found);
    }
    if (rc == kOk && volumeNumber != nullptr) {
        rc = read_field(kNumber, volume, &found);
    }
    if (rc != kOk) {
        return rc;
    }
    hand_over(found, name, status, volumeNumber);
    *offset = next;
    return kOk;
}

int ScanListVolumesReply(char* reply, int replyLength, int* offset, ListedName* name,
                         uint32_t* status, int32_t* volumeNumber) {
    int64_t number = 0;
    const int rc = scan_listed_volume(reply, replyLength, offset, name, status,
                                      volumeNumber != nullptr ? &number : nullptr);
    if (rc == kOk && volumeNumber != nullptr) {
        *volumeNumber = static_cast<int32_t>(number);
    }
    return rc;
}

void ScanStartIndex(char* reply, int replyLength, int* startIndex) {
    uint32_t found = 0;
    GetStartIndex(reply, replyLength, &found);
    if (startIndex != nullptr) {
        *startIndex = static_cast<int>(found);
    }
}

} // namespace zrp
