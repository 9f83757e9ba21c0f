// Documents like those of a server, and the readers that are measured on them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>

#include "common/requests/connections.h"

namespace zrp::bench {

// What was read, so that all are seen to read the same. While time is taken it sums up nothing, and
// the compiler still leaves no reading out.
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
    void add(const ConnectionEntry& entry) {
        add(static_cast<uint32_t>(entry.stationNumber));
        add(entry.zrpRequests);
        add(entry.bytesRead);
        add(entry.bytesWritten);
        add(entry.name);
        add(entry.loginTime);
        add(entry.licensedState);
        add(entry.encrypted);
        add(entry.mfa);
    }
};

template <size_t Size>
void copy_text(char (&to)[Size], std::string_view text) {
    const size_t length = std::min(text.size(), Size - 1);
    memcpy(to, text.data(), length);
    to[length] = '\0';
}

// A name in each cdataEach-th item is a CDATA section, none for 0.
std::string volumes(int count, int cdataEach, std::mt19937& random);
std::string connections(int count, int cdataEach, std::mt19937& random);
std::string counters(int count, int cdataEach, std::mt19937& random);

// Fills a record for each item and adds it to the sum. The text may be changed, and a NUL follows
// it, which some parsers need.
using ReadDocument = void (*)(char* text, size_t size, Sum& sum);

struct Reader {
    const char* name;
    ReadDocument volumes;
    ReadDocument connections;
    ReadDocument counters;
};

extern const Reader kPugixml;
extern const Reader kRapidxml;
extern const Reader kExpat;
extern const Reader kLibxml2;

// One pass that knows every byte between two values: no reader of documents in general gets below.
extern const Reader kOneScan;

} // namespace zrp::bench
