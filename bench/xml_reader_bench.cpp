// The cost of reading a reply by its length, for a long ordinary list and for replies that are made
// to be expensive. Each must be linear; the complexity rows show a quadratic one.
#include <string>
#include <string_view>

#include <benchmark/benchmark.h>

#include "common/requests/server_statistics.h"
#include "common/result.h"
#include "common/xml_reader.h"

namespace zrp {
namespace {

constexpr int64_t kSmallest = 1 << 12;
constexpr int64_t kLargest = 1 << 20;

std::string repeated(std::string_view piece, int64_t size, std::string_view before = {},
                     std::string_view after = {}) {
    std::string text(before);
    while (static_cast<int64_t>(text.size() + piece.size() + after.size()) <= size) {
        text += piece;
    }
    return text.append(after);
}

std::string statistics_list(int64_t size) {
    return repeated("<parm><name>Packets</name><value type=\"int\">17</value></parm>\n", size,
                    "<zrpConsoleReply><serverStatistics>", "</serverStatistics></zrpConsoleReply>");
}

std::string cdata_sections(int64_t size) {
    return repeated("<![CDATA[<a>]]>", size, "<a>", "</a>");
}

std::string unclosed_cdata(int64_t size) {
    return repeated("<![CDATA[x]]", size, "<a>");
}

std::string deep_nesting(int64_t size) {
    return repeated("<a>", size / 7 * 3) + repeated("</a>", size / 7 * 4);
}

std::string unclosed_tags(int64_t size) {
    return repeated("<a>", size);
}

std::string only_brackets(int64_t size) {
    return repeated("<", size);
}

std::string only_quotes(int64_t size) {
    return repeated("\"", size);
}

std::string quotes_in_tags(int64_t size) {
    return repeated("<r v=\"\">", size);
}

std::string brackets_before_quotes(int64_t size) {
    return repeated("<", size / 2) + repeated("\">", size / 2);
}

std::string almost_attributes(int64_t size) {
    return repeated("type=   ", size);
}

using Sample = std::string (*)(int64_t size);

// Runs a read on a fresh copy of the sample, because the finders write into it.
template <typename Read>
void run(benchmark::State& state, Sample sample, Read read) {
    const std::string original = sample(state.range(0));
    std::string reply;
    for (auto _ : state) {
        state.PauseTiming();
        reply = original;
        state.ResumeTiming();
        read(reply.data(), static_cast<int32_t>(reply.size()));
    }
    state.SetComplexityN(state.range(0));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void find_element(benchmark::State& state, Sample sample) {
    run(state, sample, [](char* reply, int32_t length) {
        uint32_t contentLength = 0;
        benchmark::DoNotOptimize(XML_GetTagElement(reply, length, "a", &contentLength));
    });
}

void find_missing(benchmark::State& state, Sample sample) {
    run(state, sample, [](char* reply, int32_t length) {
        uint32_t contentLength = 0;
        benchmark::DoNotOptimize(XML_GetTagElement(reply, length, "missing", &contentLength));
    });
}

void check_error(benchmark::State& state, Sample sample) {
    run(state, sample, [](const char* reply, int32_t length) {
        benchmark::DoNotOptimize(CheckForError(static_cast<uint32_t>(length), reply, nullptr));
    });
}

void get_attribute(benchmark::State& state, Sample sample) {
    run(state, sample, [](const char* reply, int32_t length) {
        XmlAttribute attribute;
        attribute.searchStart = reply;
        attribute.searchEnd = reply + length;
        benchmark::DoNotOptimize(GetAttribute("type", &attribute));
    });
}

void scan_statistics(benchmark::State& state, Sample sample) {
    run(state, sample, [](char* reply, int32_t length) {
        int offset = 0;
        char* element = nullptr;
        int elementLength = 0;
        while (ScanServerStatisticsReply(reply, length, &offset, &element, &elementLength) == kOk) {
            benchmark::DoNotOptimize(element);
        }
    });
}

void each_size(benchmark::internal::Benchmark* bench) {
    bench->RangeMultiplier(4)->Range(kSmallest, kLargest)->Complexity(benchmark::oAuto);
}

#define ZRP_BENCH_SAMPLE(read, sample) BENCHMARK_CAPTURE(read, sample, sample)->Apply(each_size)

ZRP_BENCH_SAMPLE(scan_statistics, statistics_list);
ZRP_BENCH_SAMPLE(check_error, statistics_list);
ZRP_BENCH_SAMPLE(find_missing, statistics_list);

ZRP_BENCH_SAMPLE(find_element, cdata_sections);
ZRP_BENCH_SAMPLE(find_element, unclosed_cdata);
ZRP_BENCH_SAMPLE(find_element, deep_nesting);
ZRP_BENCH_SAMPLE(find_element, unclosed_tags);
ZRP_BENCH_SAMPLE(find_missing, only_brackets);
ZRP_BENCH_SAMPLE(check_error, only_quotes);
ZRP_BENCH_SAMPLE(check_error, quotes_in_tags);
ZRP_BENCH_SAMPLE(check_error, brackets_before_quotes);
ZRP_BENCH_SAMPLE(check_error, cdata_sections);
ZRP_BENCH_SAMPLE(check_error, unclosed_cdata);
ZRP_BENCH_SAMPLE(get_attribute, almost_attributes);

} // namespace
} // namespace zrp

BENCHMARK_MAIN();
