#include "bench/documents.h"
#include "common/requests/volume_list.h"
#include "common/xml_reader.h"

namespace zrp::bench {
namespace {

// Where the scan is. Every text that it passes over must be there: the documents have one form.
struct Scan {
    const char* at;
    const char* end;

    template <size_t Size>
    bool pass(const char (&text)[Size]) {
        constexpr size_t kLength = Size - 1;
        if (static_cast<size_t>(end - at) < kLength || memcmp(at, text, kLength) != 0) {
            return false;
        }
        at += kLength;
        return true;
    }

    // Up to the next tag.
    std::string_view text() {
        if (pass("<![CDATA[")) {
            const char* start = at;
            while (*at != ']') {
                at++;
            }
            const std::string_view section(start, static_cast<size_t>(at - start));
            pass("]]>");
            return section;
        }
        const char* start = at;
        while (*at != '<') {
            at++;
        }
        return {start, static_cast<size_t>(at - start)};
    }

    uint64_t number() {
        uint64_t value = 0;
        for (; *at != '<'; at++) {
            value = value * 10 + static_cast<uint64_t>(*at - '0');
        }
        return value;
    }

    uint64_t hex() {
        uint64_t value = 0;
        for (; *at != '<'; at++) {
            const int digit = *at <= '9' ? *at - '0' : (*at | ' ') - 'a' + 10;
            value = value * 16 + static_cast<uint64_t>(digit);
        }
        return value;
    }
};

void scan_volumes(char* text, size_t size, Sum& sum) {
    Scan scan = {text, text + size};
    scan.pass("<zrpConsoleReply><result value=\"0\"/><listVolumes>");
    while (scan.pass("<volume><name>")) {
        ListedName name;
        copy_text(name, scan.text());
        scan.pass("</name><status>0x");
        const uint64_t status = scan.hex();
        scan.pass("</status><volumeNumber>");
        const uint64_t number = scan.number();
        scan.pass("</volumeNumber></volume>");
        sum.add(name);
        sum.add(status);
        sum.add(number);
    }
}

void scan_connections(char* text, size_t size, Sum& sum) {
    Scan scan = {text, text + size};
    scan.pass("<zrpConsoleReply><result value=\"0\"/><listConnections>");
    ConnectionEntry entry;
    while (scan.pass("<connectionTag><stationNumberTag>")) {
        entry.stationNumber = static_cast<int32_t>(scan.number());
        scan.pass("</stationNumberTag><zrpRequests>");
        entry.zrpRequests = static_cast<uint32_t>(scan.number());
        scan.pass("</zrpRequests><bytesRead>");
        entry.bytesRead = scan.number();
        scan.pass("</bytesRead><bytesWritten>");
        entry.bytesWritten = scan.number();
        scan.pass("</bytesWritten><name>");
        copy_text(entry.name, scan.text());
        scan.pass("</name><loginTime>");
        copy_text(entry.loginTime, scan.text());
        scan.pass("</loginTime><licensedState>");
        copy_text(entry.licensedState, scan.text());
        scan.pass("</licensedState><encrypted>");
        copy_text(entry.encrypted, scan.text());
        scan.pass("</encrypted><mfa>");
        copy_text(entry.mfa, scan.text());
        scan.pass("</mfa></connectionTag>");
        sum.add(entry);
    }
}

void scan_counters(char* text, size_t size, Sum& sum) {
    Scan scan = {text, text + size};
    static char name[kParmNameSize];
    static char type[kParmTypeSize];
    char value[64];
    scan.pass("<zrpConsoleReply><result value=\"0\"/><serverStatistics>");
    while (scan.pass("<parm><name>")) {
        copy_text(name, scan.text());
        scan.pass("</name><value type=\"");
        const char* start = scan.at;
        while (*scan.at != '"') {
            scan.at++;
        }
        copy_text(type, {start, static_cast<size_t>(scan.at - start)});
        scan.pass("\">");
        copy_text(value, scan.text());
        scan.pass("</value></parm>");
        sum.add(name);
        sum.add(type);
        sum.add(value);
    }
}

} // namespace

const Reader kOneScan = {"one scan for the document", scan_volumes, scan_connections,
                         scan_counters};

} // namespace zrp::bench
