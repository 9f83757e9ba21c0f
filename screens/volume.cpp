#include "screens/volume.h"

#include <cstdio>
#include <cstring>
#include <iterator>

#include "common/engine/query.h"
#include "common/genericCode.h"
#include "common/requests/volume_information.h"
#include "common/result.h"
#include "common/xml_reader.h"
#include "core/monitor.h"
#include "core/status_row.h"
#include "core/window.h"
#include "screens/labels.h"
#include "screens/reply_notes.h"
#include "screens/trace_text.h"
#include "screens/volume_dialog.h"

namespace zrp {
namespace {

constexpr const char* kTraceTag = "updateVolumeWindow";

constexpr int kVolumeColumn = kLabelColumn + 21;

enum VolumeRow : int {
    kStatusRow = 2,
    kMountPointRow,
    kShadowRow,
    kCapacityRow,
    kFilesRow,
    kFoldersRow,
    kTrusteesRow,
};

constexpr Label kVolumeLabels[] = {
    {kStatusRow, "            Status:"},   {kMountPointRow, "       Mount point:"},
    {kShadowRow, "Shadow Mount point:"},   {kCapacityRow, "          Capacity:"},
    {kFilesRow, "      Cached files:"},    {kFoldersRow, "    Cached folders:"},
    {kTrusteesRow, "     trustee count:"},
};

// Compatibility: replies of other versions show "n/a" even if they have a shadow mount point.
constexpr int kShadowVersion = 2;

// Record is the record of a version. The versions use the same names for the same fields.

template <typename Record>
void draw_state(WINDOW* window, int version, const void* block) {
    const auto& record = *static_cast<const Record*>(block);
    char status[kVolumeStatusTextSize];
    formatVolumeStatus(record.status, status);
    print_at(window, kStatusRow, kVolumeColumn, "%s", status);
    print_at(window, kMountPointRow, kVolumeColumn, "%s", record.mountPoint);
    const bool hasShadow = version == kShadowVersion && record.shadowMountPoint != nullptr;
    print_at(window, kShadowRow, kVolumeColumn, "%s", hasShadow ? record.shadowMountPoint : "n/a");
}

void draw_count(WINDOW* window, VolumeRow row, uint64_t count) {
    print_at(window, row, kVolumeColumn, "%lu", static_cast<unsigned long>(count));
}

template <typename Record>
void draw_volume(WINDOW* window, int version, const void* block) {
    const auto& record = *static_cast<const Record*>(block);
    draw_state<Record>(window, version, block);
    SizeText capacity;
    cvtSizeToString(record.clustersPerVolume, uint64_t{record.sectorPerCluster} * record.sectorSize,
                    capacity);
    print_at(window, kCapacityRow, kVolumeColumn, "%s", capacity);
    draw_count(window, kFilesRow, record.dcCacheFiles);
    draw_count(window, kFoldersRow, record.dcCachedSubdirs);
    draw_count(window, kTrusteesRow, record.dcTrusteeCount);
}

using DrawRecord = void (*)(WINDOW* window, int version, const void* block);

// Indexed by version - 1. Version 3 has no figures; version 6 begins like version 5.
constexpr DrawRecord kDrawRecord[] = {
    draw_volume<VolumeInformationV1>, draw_volume<VolumeInformationV1>,
    draw_state<VolumeInformationV3>,  draw_volume<VolumeInformationV4>,
    draw_volume<VolumeInformation>,   draw_volume<VolumeInformation>,
};

static_assert(std::size(kDrawRecord) == kMaxVolumeInformationVersion);

int query_volume(const char* name, Reply* reply) {
    trace("%s: call BuildVolumeInformationRequest\n", kTraceTag);
    uint32_t length = 0;
    HeapText request(BuildVolumeInformationRequest(name, &length, kVolumeInformationVersion));
    if (request == nullptr) {
        return kNoMemory;
    }
    trace("%s: call QueryZRPServer\n", kTraceTag);
    trace_text(kTraceTag, "request", request.get(), static_cast<int32_t>(length));
    const int rc =
        send_query({.peer = kMainDaemon, .checksReply = false}, std::move(request), length, reply);
    if (rc != kOk) {
        trace("%s: QueryZRPServer rc=%d\n", kTraceTag, rc);
        return rc;
    }
    trace_text(kTraceTag, "reply", reply->text.get(), reply->length);
    return kOk;
}

// The server's words without the name, which precedes them in the row.
void drop_name_at_end(char* words, const char* name) {
    char ending[sizeof ": " + kVolumeListNameSize];
    snprintf(ending, sizeof ending, ": %s", name);
    const size_t length = strlen(words);
    const size_t endingLength = strlen(ending);
    if (length > endingLength && strcmp(words + length - endingLength, ending) == 0) {
        words[length - endingLength] = '\0';
    }
}

void report_volume(int rc, ErrorText& words) {
    const char* name = selected_volume_name();
    if (*name == '\0') {
        return; // the number was never listed: the daemon's error is all there is to say
    }
    char subject[sizeof "volume " + kVolumeListNameSize];
    snprintf(subject, sizeof subject, "volume %s", name);
    drop_name_at_end(words, name);
    report_fault(subject, rc, words);
}

int scan_volume(const Reply& reply, int* version, VolumeRecord* record) {
    int offset = 0;
    ErrorText words;
    int rc = check_reply(reply, &words);
    if (rc != kOk) {
        report_volume(rc, words);
    } else {
        rc = ScanVolumeInformationReply(reply.text.get(), reply.length, &offset, version, record);
        note_result(DaemonId::kMain, rc);
    }
    if (rc != kOk) {
        trace("%s: CheckForError rc=%d\n", kTraceTag, rc);
    }
    return rc;
}

} // namespace

int drawVolumeLabels(WINDOW* window) {
    char title[sizeof "Volume: " + kVolumeListNameSize];
    snprintf(title, sizeof title, "Volume: %s", selected_volume_name());
    return draw_labels(window, title, kVolumeLabels);
}

int updateVolumeWindow(WINDOW* window) {
    if (window == nullptr) {
        return kRange;
    }
    Reply reply;
    int rc = query_volume(selected_volume_name(), &reply);
    if (rc != kOk) {
        return rc;
    }
    int version = 0;
    VolumeRecord record;
    rc = scan_volume(reply, &version, &record);
    if (rc != kOk) {
        return rc;
    }
    kDrawRecord[version - 1](window, version, record.get());
    refresh_window(window);
    return kOk;
}

} // namespace zrp
