#include "tests/support/server_driver.h"

#include <cstring>

#include "common/requests/cluster_resource.h"
#include "common/requests/connections.h"
#include "common/requests/server_login.h"
#include "common/requests/server_settings.h"
#include "common/requests/server_statistics.h"
#include "common/requests/storage_daemon.h"
#include "common/requests/volume_management.h"
#include "common/result.h"
#include "tests/support/exact_block.h"
#include "tests/support/require.h"

namespace zrp {
namespace {

// Scans into a record of zeros and requires it to be as it was after a failure.
template <typename Record>
Record scan_whole(std::string_view input, int (*scan)(char*, int, Record*)) {
    const ExactBlock reply(input);
    const Record before = {};
    Record record = {};
    const int rc = scan(reply.begin(), reply.length(), &record);
    REQUIRE(rc == kOk || rc == kInvalid);
    REQUIRE(rc == kOk || memcmp(&record, &before, sizeof record) == 0);
    return record;
}

void drive_server_records(std::string_view input) {
    scan_whole(input, ScanServerCountersReply);
    scan_whole(input, ScanServerConnInfoReply);
    const ServerConfig config = scan_whole(input, ScanServerConfigReply);
    require_text(config.zrpServerName);
    require_text(config.zrpServerProductVersion);
    require_text(config.zrpServerFileServerVersion);
    require_text(config.zrpServerVersion);
    const DiagnosticChoice choice = scan_whole(input, ScanZrp2bksParmsReply);
    REQUIRE(choice.wordCount >= 0 && choice.wordCount <= kMaxDiagnosticWords);
    for (const auto& word : choice.words) {
        require_text(word);
    }
    const ExactBlock reply(input);
    ScanFlushVolumesReply(reply.begin(), reply.length());
    ScanClusterBindReply(reply.begin(), reply.length());
}

template <typename Scan>
void walk(std::string_view input, Scan scan) {
    const ExactBlock reply(input);
    const int rc = scan_to_the_end(
        reply, [&](int* offset) { return scan(reply.begin(), reply.length(), offset); });
    REQUIRE(rc == kInvalid || rc == kRange);
}

void drive_lists(std::string_view input) {
    for (const auto scan : {ScanEnableLoginReply, ScanDisableLoginReply}) {
        walk(input, [scan](char* reply, int length, int* offset) {
            LoginText text = "";
            const int rc = scan(reply, length, offset, text);
            require_text(text);
            return rc;
        });
    }
    walk(input, [](char* reply, int length, int* offset) {
        ClusterVolumeResult record = {};
        const int rc = ScanClusterVolumeReply(reply, length, offset, &record);
        require_text(record.volumeName);
        return rc;
    });
}

} // namespace

// The scanner of thread statistics is left out: it writes to standard error for each field that a
// damaged reply lacks.
void drive_server_replies(std::string_view input) {
    drive_server_records(input);
    drive_lists(input);
}

} // namespace zrp
