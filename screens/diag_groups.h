// The sixteen groups of counters that the Diagnostics screen shows.
#pragma once

#include <cstdint>

namespace zrp {

inline constexpr int32_t kFirstBksGroup = 10; // from here on the storage daemon is asked

inline constexpr int kDiagRows = 10;         // of the largest group
inline constexpr int kFirstDiagRow = 2;      // row i of a group stands on line kFirstDiagRow + i
inline constexpr int kDiagLabelWidth = 37;   // a label ends in this column
inline constexpr int kUnevenLabelWidth = 38; // of two labels that stand one column further right

struct DiagRow {
    const char* label = nullptr; // null behind the last row of a group
    const char* key = nullptr;
    int labelWidth = kDiagLabelWidth;
};

struct DiagGroup {
    int32_t type; // what the user types
    const char* title;
    DiagRow rows[kDiagRows + 1];
};

// The group of that number, or null: 9 and 10, and whatever lies outside 1 to 18, show none.
const DiagGroup* find_diag_group(int32_t type);

} // namespace zrp
