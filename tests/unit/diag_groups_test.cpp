// The groups that the Diagnostics screen shows, as tables.
#include "common/requests/diag_groups.h"

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "screens/diag_counters.h"

namespace zrp::diag_groups_test {
namespace {

size_t row_count(const DiagGroup& group) {
    size_t count = 0;
    while (group.rows[count].label != nullptr) {
        count++;
    }
    return count;
}

struct GroupCase {
    int32_t type;
    size_t rows; // 0: no such group
};

TEST(DiagGroups, StandUnderOneToEightAndElevenToEighteen) {
    const GroupCase cases[] = {{-2147483647, 0}, {-1, 0}, {0, 0},  {1, 6},  {2, 6},  {3, 10},
                               {4, 8},           {5, 4},  {6, 6},  {7, 4},  {8, 6},  {9, 0},
                               {10, 0},          {11, 3}, {12, 3}, {13, 7}, {14, 4}, {15, 8},
                               {16, 4},          {17, 3}, {18, 4}, {19, 0}, {100, 0}};
    for (const GroupCase& c : cases) {
        const DiagGroup* group = find_diag_group(c.type);
        EXPECT_EQ(group == nullptr ? 0 : row_count(*group), c.rows) << c.type;
    }
}

TEST(DiagGroups, ShowOnlyCountersThatTheirTableHolds) {
    inithashtable();
    for (int32_t type = 0; type < 19; type++) {
        const DiagGroup* group = find_diag_group(type);
        DiagHashTable* table = type < kFirstBksGroup ? serverDiagTable.get() : bksDiagTable.get();
        for (size_t i = 0; group != nullptr && i < row_count(*group); i++) {
            EXPECT_NE(hashtable_lookup(table, group->rows[i].key), nullptr) << group->rows[i].key;
        }
    }
    releasehashtable();
}

TEST(DiagGroups, LabelsFitTheirWidthAndEndInAColon) {
    for (int32_t type = 0; type < 19; type++) {
        const DiagGroup* group = find_diag_group(type);
        for (size_t i = 0; group != nullptr && i < row_count(*group); i++) {
            const DiagRow& row = group->rows[i];
            EXPECT_TRUE(std::string(row.label).ends_with(':')) << row.label;
            EXPECT_LE(strlen(row.label), 37U) << row.label;
            const bool uneven = strcmp(row.label, "BKS Add trustee events:") == 0 ||
                                strcmp(row.label, "BKS Delete trustee events:") == 0;
            EXPECT_EQ(row.labelWidth, uneven ? 38 : 37) << row.label;
        }
    }
}

struct PairCase {
    int32_t type;
    size_t row;
    const char* label;
    const char* key;
};

// Labels and keys that differ on purpose.
TEST(DiagGroups, PairTheirLabelsWithTheKeysOfTheDaemons) {
    const PairCase cases[] = {
        {2, 2, "ReplyDiscard:", "ReplyDisgard"},
        {12, 0, "requests:", "Request"},
        {13, 4, "ipcListener memory request:", "ipcListener memory request "},
        {14, 0, "recieved:", "KVQ events received"},
        {14, 3, "unknown:", "KVQ unknown type"},
        {15, 7, "change volume state:", "Change volume state events"},
        {16, 1, "Get Directory quota requests:", "Get quota requests"},
        {16, 2, "Set Directory quota requests:", "Set quota requests"},
        {18, 1, "Delete trustee requests:", "Remove trustees requests"},
        {18, 3, "Set Inherited Rights mask requests:", "SetInheritedRightsMask requests"},
    };
    for (const PairCase& c : cases) {
        const DiagRow& row = find_diag_group(c.type)->rows[c.row];
        EXPECT_STREQ(row.label, c.label);
        EXPECT_STREQ(row.key, c.key);
    }
}

} // namespace
} // namespace zrp::diag_groups_test
