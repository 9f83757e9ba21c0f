// reader_rows [TEXT]: what the reader of replies costs beside pugixml, which parses the same
// document in place and fills the same records. Each row is the best of many shuffled rounds, since
// what disturbs a round only makes it slower.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <pugixml.hpp>

#include "common/requests/connections.h"
#include "common/requests/server_statistics.h"
#include "common/requests/volume_list.h"
#include "common/result.h"
#include "common/xml_reader.h"

namespace zrp {
namespace {

// What was read, so that both are seen to read the same. While time is taken it sums up nothing,
// and the compiler still leaves no reading out.
struct Sum {
    bool isOn = false;
    uint64_t value = 0;

    void add(uint64_t number) {
        asm volatile("" : : "r"(number));
        if (isOn) {
            value = value * 31 + number;
        }
    }
    void add(const char* text) {
        asm volatile("" : : "r"(text) : "memory");
        for (; isOn && *text != '\0'; text++) {
            add(static_cast<uint64_t>(static_cast<unsigned char>(*text)));
        }
    }
};

std::string element(const std::string& name, const std::string& text) {
    return "<" + name + ">" + text + "</" + name + ">";
}

std::string volumes(int count, int cdataEach, std::mt19937& random) {
    std::string list;
    for (int i = 0; i < count; i++) {
        std::string name = "VOLUME_" + std::to_string(random() % 100000);
        if (cdataEach != 0 && i % cdataEach == 0) {
            name = "<![CDATA[" + name + "]]>";
        }
        list += element("volume", element("name", name) + element("status", "0x3") +
                                      element("volumeNumber", std::to_string(i)));
    }
    return element("zrpConsoleReply", "<result value=\"0\"/>" + element("listVolumes", list));
}

std::string connections(int count, int cdataEach, std::mt19937& random) {
    std::string list;
    for (int i = 0; i < count; i++) {
        const std::string user = "CN=USER" + std::to_string(random() % 10000) + ".O=ACME";
        const auto number = [&] { return std::to_string(random()); };
        list += element(
            "connectionTag",
            element("stationNumberTag", std::to_string(i + 1)) + element("zrpRequests", number()) +
                element("bytesRead", number()) + element("bytesWritten", number()) +
                element("name",
                        cdataEach != 0 && i % cdataEach == 0 ? "<![CDATA[" + user + "]]>" : user) +
                element("loginTime", "Sun Nov 22 10:00:00 2026") +
                element("licensedState", "licensed") + element("encrypted", "no") +
                element("mfa", "no"));
    }
    return element("zrpConsoleReply", "<result value=\"0\"/>" + element("listConnections", list));
}

std::string counters(int count, int cdataEach, std::mt19937& random) {
    std::string list;
    for (int i = 0; i < count; i++) {
        std::string name = "Counter of requests " + std::to_string(i);
        if (cdataEach != 0 && i % cdataEach == 0) {
            name = "<![CDATA[" + name + "]]>";
        }
        list += element("parm", element("name", name) + "<value type=\"uint64\">" +
                                    std::to_string(random()) + "</value>");
    }
    return element("zrpConsoleReply", "<result value=\"0\"/>" + element("serverStatistics", list));
}

void read_volumes(char* text, size_t size, Sum& sum) {
    const auto length = static_cast<int>(size);
    if (CheckForError(static_cast<uint32_t>(size), text, nullptr) != kOk) {
        return;
    }
    int offset = 0;
    ListedName name;
    uint32_t status = 0;
    int32_t number = 0;
    while (ScanListVolumesReply(text, length, &offset, &name, &status, &number) == kOk) {
        sum.add(name);
        sum.add(status);
        sum.add(static_cast<uint32_t>(number));
    }
}

void add_entry(const ConnectionEntry& entry, Sum& sum) {
    sum.add(static_cast<uint32_t>(entry.stationNumber));
    sum.add(entry.zrpRequests);
    sum.add(entry.bytesRead);
    sum.add(entry.bytesWritten);
    sum.add(entry.name);
    sum.add(entry.loginTime);
    sum.add(entry.licensedState);
    sum.add(entry.encrypted);
    sum.add(entry.mfa);
}

void read_connections(char* text, size_t size, Sum& sum) {
    if (CheckForError(static_cast<uint32_t>(size), text, nullptr) != kOk) {
        return;
    }
    int offset = 0;
    ConnectionEntry entry;
    while (ScanListConnectionsReply(text, static_cast<int>(size), &offset, &entry) == kOk) {
        add_entry(entry, sum);
    }
}

void read_counters(char* text, size_t size, Sum& sum) {
    if (CheckForError(static_cast<uint32_t>(size), text, nullptr) != kOk) {
        return;
    }
    static char name[kParmNameSize];
    static char type[kParmTypeSize];
    char value[64];
    int offset = 0;
    char* item = nullptr;
    int itemLength = 0;
    while (ScanServerStatisticsReply(text, static_cast<int>(size), &offset, &item, &itemLength) ==
           kOk) {
        if (GetNameValueParm(item, item + itemLength, name, type, value, sizeof value - 1) == kOk) {
            sum.add(name);
            sum.add(type);
            sum.add(value);
        }
    }
}

template <size_t Size>
void copy_text(char (&to)[Size], const char* text) {
    const size_t length = std::min(strlen(text), Size - 1);
    memcpy(to, text, length);
    to[length] = '\0';
}

// The document's list, after the check for an error.
pugi::xml_node parse(pugi::xml_document& document, char* text, size_t size, const char* list) {
    document.load_buffer_inplace(text, size, pugi::parse_default, pugi::encoding_utf8);
    const pugi::xml_node reply = document.child("zrpConsoleReply");
    const bool isGood = strcmp(reply.child("result").attribute("value").value(), "0") == 0;
    return isGood ? reply.child(list) : pugi::xml_node();
}

uint64_t number_of(pugi::xml_node node, const char* name) {
    return strtoull(node.child_value(name), nullptr, 0);
}

void parse_volumes(char* text, size_t size, Sum& sum) {
    pugi::xml_document document;
    for (const pugi::xml_node volume :
         parse(document, text, size, "listVolumes").children("volume")) {
        ListedName name;
        copy_text(name, volume.child_value("name"));
        sum.add(name);
        sum.add(number_of(volume, "status"));
        sum.add(number_of(volume, "volumeNumber"));
    }
}

void parse_connections(char* text, size_t size, Sum& sum) {
    pugi::xml_document document;
    for (const pugi::xml_node node :
         parse(document, text, size, "listConnections").children("connectionTag")) {
        ConnectionEntry entry = {};
        entry.stationNumber = static_cast<int32_t>(number_of(node, "stationNumberTag"));
        entry.zrpRequests = static_cast<uint32_t>(number_of(node, "zrpRequests"));
        entry.bytesRead = number_of(node, "bytesRead");
        entry.bytesWritten = number_of(node, "bytesWritten");
        copy_text(entry.name, node.child_value("name"));
        copy_text(entry.loginTime, node.child_value("loginTime"));
        copy_text(entry.licensedState, node.child_value("licensedState"));
        copy_text(entry.encrypted, node.child_value("encrypted"));
        copy_text(entry.mfa, node.child_value("mfa"));
        add_entry(entry, sum);
    }
}

void parse_counters(char* text, size_t size, Sum& sum) {
    static char name[kParmNameSize];
    static char type[kParmTypeSize];
    char value[64];
    pugi::xml_document document;
    for (const pugi::xml_node parm :
         parse(document, text, size, "serverStatistics").children("parm")) {
        copy_text(name, parm.child_value("name"));
        copy_text(type, parm.child("value").attribute("type").value());
        copy_text(value, parm.child_value("value"));
        sum.add(name);
        sum.add(type);
        sum.add(value);
    }
}

struct Row {
    const char* name;
    double aim; // of the time that pugixml takes
    std::string (*document)(int count, int cdataEach, std::mt19937& random);
    int count;
    int cdataEach;
    void (*read)(char* text, size_t size, Sum& sum);
    void (*parse)(char* text, size_t size, Sum& sum);
};

constexpr Row kRows[] = {
    {"256 volumes", 0.50, volumes, 256, 0, read_volumes, parse_volumes},
    {"10 connections", 0.45, connections, 10, 0, read_connections, parse_connections},
    {"53 counters", 0.55, counters, 53, 0, read_counters, parse_counters},
    {"15 statistics", 0.60, counters, 15, 0, read_counters, parse_counters},
    {"256 volumes, CDATA in every eighth name", 0.65, volumes, 256, 8, read_volumes, parse_volumes},
    {"10 connections, the same", 0.55, connections, 10, 8, read_connections, parse_connections},
    {"53 counters, the same", 0.75, counters, 53, 8, read_counters, parse_counters},
    {"5 000 counters with 625 CDATA sections", 0.80, counters, 5000, 8, read_counters,
     parse_counters},
};

using Clock = std::chrono::steady_clock;

// Nanoseconds of one reading, without those of the copy that each begins with.
double measure(void (*read)(char*, size_t, Sum&), const std::string& document) {
    static std::vector<char> text;
    text.resize(document.size());
    const size_t times = std::max<size_t>(1, 400'000 / document.size());
    std::chrono::nanoseconds spent{};
    for (size_t i = 0; i < times; i++) {
        memcpy(text.data(), document.data(), document.size());
        Sum sum;
        const auto began = Clock::now();
        read(text.data(), text.size(), sum);
        spent += Clock::now() - began;
    }
    return static_cast<double>(spent.count()) / static_cast<double>(times);
}

uint64_t sum_of(void (*read)(char*, size_t, Sum&), std::string document) {
    Sum sum;
    sum.isOn = true;
    read(document.data(), document.size(), sum);
    return sum.value;
}

int run(const char* wanted) {
    constexpr int kRounds = 200;
    std::mt19937 random(1); // NOLINT: the same documents in each run
    int rc = EXIT_SUCCESS;
    printf("%-40s %10s %10s %6s %6s\n", "document", "reader ns", "pugixml ns", "ratio", "aim");
    for (const Row& row : kRows) {
        if (strstr(row.name, wanted) == nullptr) {
            continue;
        }
        const std::string document = row.document(row.count, row.cdataEach, random);
        double reader = HUGE_VAL;
        double parser = HUGE_VAL;
        for (int i = 0; i < kRounds; i++) {
            if (random() % 2 == 0) {
                reader = std::min(reader, measure(row.read, document));
                parser = std::min(parser, measure(row.parse, document));
            } else {
                parser = std::min(parser, measure(row.parse, document));
                reader = std::min(reader, measure(row.read, document));
            }
        }
        printf("%-40s %10.0f %10.0f %6.2f %6.2f\n", row.name, reader, parser, reader / parser,
               row.aim);
        const uint64_t read = sum_of(row.read, document);
        if (read != sum_of(row.parse, document) || read == 0) {
            printf("%s: the two read different things\n", row.name);
            rc = EXIT_FAILURE;
        }
    }
    return rc;
}

} // namespace
} // namespace zrp

int main(int argc, char** argv) {
    return zrp::run(argc > 1 ? argv[1] : "");
}
