// The scanners of the request families, for drivers().

#include "tests/support/scanner_drivers.h"

#include <cstring>

#include "common/engine/reply_fields.h"
#include "common/engine/reply_list.h"
#include "common/requests/connections.h"
#include "common/requests/diagnostics.h"
#include "common/requests/server_settings.h"
#include "common/requests/server_statistics.h"
#include "common/requests/volume_information.h"
#include "common/requests/volume_list.h"
#include "tests/support/exact_block.h"
#include "tests/support/require.h"

namespace zrp {
namespace {

struct SampleRecord {
    int32_t signedNumber;
    uint32_t number32;
    uint64_t number64;
    char text[5];
    char guard;
};

constexpr ReplyField kSampleFields[] = {
    ZRP_FIELD("startIndex", kDecimal, SampleRecord, signedNumber),
    ZRP_FIELD("a", kNumber32, SampleRecord, number32),
    ZRP_FIELD("value", kNumber64, SampleRecord, number64),
    ZRP_FIELD("name", kText, SampleRecord, text),
};

constexpr ReplyList kSampleList = {{"zrpConsoleReply", "listVolumes"}, "volume"};

// The first item, with each element of the path found by itself.
int first_item(const ExactBlock& reply, int* offset, XmlElement* item) {
    char* start = reply.begin();
    char* end = reply.begin() + reply.length();
    for (const char* tag : {"zrpConsoleReply", "listVolumes"}) {
        XmlElement element;
        if (FindElement(tag, start, end, &element) != kOk) {
            return kInvalid;
        }
        start = element.contentStart;
        end = start != nullptr ? element.contentEnd + 1 : nullptr;
    }
    if (start == nullptr ||
        FindElement("volume", start, reply.begin() + reply.length(), item) != kOk) {
        return kInvalid;
    }
    *offset = static_cast<int>(item->elementEnd + 1 - reply.begin());
    return kOk;
}

int read_one_by_one(const XmlElement& item, SampleRecord* record) {
    for (const ReplyField& field : kSampleFields) {
        const int rc = read_field(field, item, record);
        if (rc != kOk && (rc != kInvalid || !field.isOptional)) {
            return rc;
        }
    }
    return kOk;
}

} // namespace

void drive_list_and_fields(std::string_view input) {
    const ExactBlock reply(input);
    const ExactBlock again(input);
    scan_to_the_end(reply, [&](int* offset) {
        ReplyItem item;
        XmlElement same;
        int end = *offset;
        const int rc = next_item(kSampleList, reply.begin(), reply.length(), offset, &item);
        const int expectedRc =
            end == 0 ? first_item(again, &end, &same)
                     : next_item(kSampleList, again.begin(), again.length(), &end, &same);
        REQUIRE(rc == expectedRc);
        REQUIRE(*offset == end);
        REQUIRE(reply.text() == again.text());
        if (rc != kOk) {
            return rc;
        }
        require_element(reply, item);
        SampleRecord record = {};
        record.guard = '#';
        SampleRecord expected = record;
        const int read = read_fields(kSampleFields, item, &record);
        // A table reads what its fields read one by one, and leaves the same reply.
        REQUIRE(read == read_one_by_one(same, &expected));
        REQUIRE(memcmp(&record, &expected, sizeof record) == 0);
        REQUIRE(reply.text() == again.text());
        REQUIRE(record.guard == '#');
        require_text(record.text);
        return rc;
    });
}

void drive_server_statistics(std::string_view input) {
    const ExactBlock reply(input);
    scan_to_the_end(reply, [&](int* offset) {
        char* element = nullptr;
        int length = 0;
        const int rc =
            ScanServerStatisticsReply(reply.begin(), reply.length(), offset, &element, &length);
        REQUIRE(element != nullptr || length == 0);
        if (element != nullptr) {
            require_view(reply, element, static_cast<size_t>(length));
        }
        return rc;
    });
}

void drive_volume_list(std::string_view input) {
    const ExactBlock reply(input);
    scan_to_the_end(reply, [&](int* offset) {
        ListedName name = "";
        uint32_t status = 0;
        int32_t number = 0;
        const int rc =
            ScanListVolumesReply(reply.begin(), reply.length(), offset, &name, &status, &number);
        require_text(name);
        return rc;
    });
    const ExactBlock again(input);
    scan_to_the_end(again, [&](int* offset) {
        return ScanListVolumesReply(again.begin(), again.length(), offset, nullptr, nullptr,
                                    nullptr);
    });
    int startIndex = 0;
    ScanStartIndex(again.begin(), again.length(), &startIndex);
}

void drive_volume_information(std::string_view input) {
    const ExactBlock reply(input);
    scan_to_the_end(reply, [&](int* offset) {
        int version = 0;
        VolumeRecord record;
        const int rc =
            ScanVolumeInformationReply(reply.begin(), reply.length(), offset, &version, &record);
        REQUIRE(rc != kOk || record != nullptr);
        return rc;
    });
}

void drive_connection_list(std::string_view input) {
    const ExactBlock reply(input);
    scan_to_the_end(reply, [&](int* offset) {
        ConnectionEntry entry = {};
        const int rc = ScanListConnectionsReply(reply.begin(), reply.length(), offset, &entry);
        require_text(entry.name);
        require_text(entry.mfa);
        require_text(entry.licensedState);
        require_text(entry.encrypted);
        return rc;
    });
}

void drive_connection_information(std::string_view input) {
    const ExactBlock reply(input);
    ConnectionInformationPtr record;
    if (ScanConnectionInformationReply(reply.begin(), reply.length(), &record) != kOk) {
        return;
    }
    for (const NameList& list : {record->openFiles, record->securityEquals}) {
        const char* name = list.names;
        for (uint32_t i = 0; i < list.count; i++) {
            name += strlen(name) + 1; // under the address sanitizer this sees a missing NUL
        }
    }
}

void drive_diagnostics(std::string_view input) {
    for (const auto scan : {ScanDiagnosticsReply, ScanZrp2bksDiagnosticReply}) {
        const ExactBlock reply(input);
        scan_to_the_end(reply, [&](int* cursor) {
            DiagnosticName name = "";
            int32_t value = 0;
            int next = *cursor; // moves over a counter without a value too
            const int rc = scan(reply.begin(), reply.length(), &next, name, &value);
            require_text(name);
            *cursor = rc == kOk ? next : *cursor;
            return rc;
        });
    }
}

void drive_server_settings(std::string_view input) {
    for (const bool withNames : {true, false}) {
        const ExactBlock reply(input);
        scan_to_the_end(reply, [&](int* offset) {
            SettingText name = "";
            SettingText value = "";
            const int rc = ScanSetReply(reply.begin(), reply.length(), offset,
                                        withNames ? &name : nullptr, &value);
            require_text(name);
            require_text(value);
            return rc;
        });
    }
}

} // namespace zrp
