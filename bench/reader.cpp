// reader_rows [TEXT]: what the reader of replies costs beside parsers that an engineer would pick
// instead, on the documents whose names hold TEXT. All fill the same records. Each figure is the
// best of many shuffled rounds, since what disturbs a round only makes it slower.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <numeric>
#include <vector>

#include "bench/documents.h"
#include "bench/row.h"
#include "common/requests/server_statistics.h"
#include "common/requests/volume_list.h"
#include "common/result.h"
#include "common/xml_reader.h"

namespace zrp::bench {
namespace {

bool has_error(const char* text, size_t size) {
    return CheckForError(static_cast<uint32_t>(size), text, nullptr) != kOk;
}

void read_volumes(char* text, size_t size, Sum& sum) {
    if (has_error(text, size)) {
        return;
    }
    int offset = 0;
    ListedName name;
    uint32_t status = 0;
    int32_t number = 0;
    while (ScanListVolumesReply(text, static_cast<int>(size), &offset, &name, &status, &number) ==
           kOk) {
        sum.add(name);
        sum.add(status);
        sum.add(static_cast<uint32_t>(number));
    }
}

void read_connections(char* text, size_t size, Sum& sum) {
    if (has_error(text, size)) {
        return;
    }
    int offset = 0;
    ConnectionEntry entry;
    while (ScanListConnectionsReply(text, static_cast<int>(size), &offset, &entry) == kOk) {
        sum.add(entry);
    }
}

void read_counters(char* text, size_t size, Sum& sum) {
    if (has_error(text, size)) {
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

constexpr Reader kLibrary = {"library", read_volumes, read_connections, read_counters};

// The first is measured, the aims are multiples of the second.
const std::array kReaders = {&kLibrary, &kPugixml, &kRapidxml, &kExpat, &kLibxml2, &kOneScan};

struct DocumentRow {
    const char* name;
    double aim; // of the time that pugixml takes
    std::string (*document)(int count, int cdataEach, std::mt19937& random);
    int count;
    int cdataEach;
    ReadDocument Reader::*read;
};

constexpr DocumentRow kRows[] = {
    {"256 volumes", 0.50, volumes, 256, 0, &Reader::volumes},
    {"10 connections", 0.45, connections, 10, 0, &Reader::connections},
    {"53 counters", 0.55, counters, 53, 0, &Reader::counters},
    {"15 statistics", 0.60, counters, 15, 0, &Reader::counters},
    {"256 volumes, CDATA", 0.65, volumes, 256, 8, &Reader::volumes},
    {"10 connections, CDATA", 0.55, connections, 10, 8, &Reader::connections},
    {"53 counters, CDATA", 0.75, counters, 53, 8, &Reader::counters},
    {"5 000 counters, CDATA", 0.80, counters, 5000, 8, &Reader::counters},
};

using Clock = std::chrono::steady_clock;

// Nanoseconds of one reading, without those of the copy that each begins with.
double measure(ReadDocument read, const std::string& document) {
    static std::vector<char> text;
    text.assign(document.size() + 1, '\0');
    const size_t times = std::max<size_t>(1, 200'000 / document.size());
    std::chrono::nanoseconds spent{};
    for (size_t i = 0; i < times; i++) {
        memcpy(text.data(), document.data(), document.size());
        Sum sum;
        const auto began = Clock::now();
        read(text.data(), document.size(), sum);
        spent += Clock::now() - began;
    }
    return static_cast<double>(spent.count()) / static_cast<double>(times);
}

uint64_t sum_of(ReadDocument read, std::string document) {
    Sum sum;
    sum.isOn = true;
    read(document.data(), document.size(), sum);
    return sum.value;
}

// False if one of the readers reads anything else than the library.
bool read_the_same(const DocumentRow& row, const std::string& document) {
    const uint64_t wanted = sum_of(kLibrary.*row.read, document);
    return wanted != 0 && std::all_of(kReaders.begin(), kReaders.end(), [&](const Reader* reader) {
               return sum_of(reader->*row.read, document) == wanted;
           });
}

void measure_row(const DocumentRow& row, std::mt19937& random) {
    constexpr int kRounds = 200;
    const std::string document = row.document(row.count, row.cdataEach, random);
    if (!read_the_same(row, document)) {
        print_missing(row.name, "the readers read different things");
        return;
    }
    std::array<double, kReaders.size()> best;
    best.fill(HUGE_VAL);
    std::array<size_t, kReaders.size()> order;
    std::iota(order.begin(), order.end(), size_t{0});
    for (int i = 0; i < kRounds; i++) {
        std::shuffle(order.begin(), order.end(), random);
        for (const size_t reader : order) {
            best[reader] = std::min(best[reader], measure(kReaders[reader]->*row.read, document));
        }
    }
    for (size_t i = 1; i < kReaders.size(); i++) {
        print_row({std::string(row.name) + ", ns: " + kReaders[i]->name, best[0], best[i],
                   i == 1 ? row.aim : NAN});
    }
}

// What an entry of a list costs, beside one of the shortest list.
void measure_scale(std::mt19937& random) {
    constexpr int kRounds = 15;
    double first = NAN;
    for (const int count : {10, 100, 1000, 20'000}) {
        const std::string document = connections(count, 0, random);
        double best = HUGE_VAL;
        for (int i = 0; i < kRounds; i++) {
            best = std::min(best, measure(read_connections, document));
        }
        best /= count;
        first = std::isnan(first) ? best : first;
        print_row({std::to_string(count) + " connections, ns an entry: of 10", best, first});
    }
}

} // namespace
} // namespace zrp::bench

int main(int argc, char** argv) {
    using namespace zrp::bench;
    std::mt19937 random(1); // NOLINT: the same documents in each run
    print_head();
    for (const DocumentRow& row : kRows) {
        if (argc < 2 || strstr(row.name, argv[1]) != nullptr) {
            measure_row(row, random);
        }
    }
    if (argc < 2) {
        measure_scale(random);
    }
    return EXIT_SUCCESS;
}
