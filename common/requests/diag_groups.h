// The sixteen groups of counters, as the Diagnostics screen shows them. Internal to the library.
#pragma once

#include <cstdint>
#include <span>

#pragma GCC visibility push(hidden)

namespace zrp {

inline constexpr int32_t kFirstBksGroup = 10; // the counters from here on are the storage daemon's

inline constexpr int kMaxDiagRows = 10;    // rows of the largest group
inline constexpr int kFirstDiagRow = 2;    // row of the window for the first row of a group
inline constexpr int kDiagLabelWidth = 37; // labels are right-aligned
inline constexpr int kWideLabelWidth = 38; // Compatibility: two labels are one column wider

struct DiagRow {
    const char* label = nullptr; // null after the last row of a group
    const char* key = nullptr;
    int labelWidth = kDiagLabelWidth;
};

struct DiagGroup {
    int32_t type; // what the user types
    const char* title;
    DiagRow rows[kMaxDiagRows + 1];
};

// The group of that number, or null. There are groups 1 to 8 and 11 to 18.
const DiagGroup* find_diag_group(int32_t type);

// All of them, in the order of their numbers.
std::span<const DiagGroup> diag_groups();

} // namespace zrp

#pragma GCC visibility pop
