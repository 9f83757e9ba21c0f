// Diagnostics: the internal counters of the main daemon and of the storage daemon.
#pragma once
#include "../cplusplus.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "../requests/diagnostics.h"
#include "../requests/storage_daemon.h"
#include "detail.h"

namespace zrp::client {

struct Counter {
    std::string name;
    int32_t value = 0;
};

namespace detail {

inline constexpr List kServerCounters = {tag::diagnostics, tag::diagValue};
inline constexpr List kStorageCounters = {
    diagnostic::level,
    diagnostic::zrp2bksValue,
    {kStorageDaemonSocket, kStorageDiagnosticRequest, diagnostic::zrp2bksDiagnosticReply}};

struct CounterItem {
    DiagnosticName name;
    int32_t value;
};

template <typename Build, typename Scan>
Answer<std::vector<Counter>> ListCounters(const List& list, Build build, Scan scan) {
    return ListItems<Counter, CounterItem>(
        list, build,
        [&](char* reply, int length, int* offset, CounterItem* item) {
            return scan(reply, length, offset, item->name, &item->value);
        },
        [](const CounterItem& item) {
            return Counter{item.name, item.value};
        });
}

inline Answer<std::vector<Counter>> ListServerCounters(bool reset) {
    return ListCounters(
        kServerCounters,
        [&](uint32_t* length) { return BuildDiagnosticsRequest(length, kDiagnosticsLevel, reset); },
        ScanDiagnosticsReply);
}

inline Answer<std::vector<Counter>> ListStorageCounters(bool reset, std::string_view words) {
    return ListCounters(
        kStorageCounters,
        [&](uint32_t* length) -> char* {
            const HeapText document(
                BuildZrp2bksParmsRequest(kDiagnosticsLevel, reset, Text(words), length));
            return document == nullptr ? nullptr
                                       : WrapDiagnosticRequest(document.get(), *length, length);
        },
        ScanZrp2bksDiagnosticReply);
}

} // namespace detail

inline Answer<std::vector<Counter>> ListServerCounters() {
    return detail::ListServerCounters(false);
}

// The counters that have one of the words in their names, or all of them. Up to ten words, with
// blanks, commas or semicolons between them.
inline Answer<std::vector<Counter>> ListStorageCounters(std::string_view words = {}) {
    return detail::ListStorageCounters(false, words);
}

// Both set all counters back and give them as they are then.
inline Answer<std::vector<Counter>> ResetServerCounters() {
    return detail::ListServerCounters(true);
}

inline Answer<std::vector<Counter>> ResetStorageCounters() {
    return detail::ListStorageCounters(true, {});
}

} // namespace zrp::client
