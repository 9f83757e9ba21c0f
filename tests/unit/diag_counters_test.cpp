// The store of counters: its hash, its chains and the two tables.
#include "screens/diag_counters.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/failing_malloc.h"
#include "tests/unit/traced.h"

namespace zrp::diag_counters_test {
namespace {

uint32_t bucket(const std::string& name) {
    return diag_hash(name.c_str(), kDiagBuckets, kDiagHashSeed);
}

// Names that all fall into the bucket of the first.
std::vector<std::string> colliding(size_t count) {
    std::vector<std::string> names = {"name0"};
    for (int i = 1; names.size() < count; i++) {
        const std::string name = "name" + std::to_string(i);
        if (bucket(name) == bucket(names.front())) {
            names.push_back(name);
        }
    }
    return names;
}

std::vector<std::string> chain(const DiagHashTable& table, uint32_t index) {
    std::vector<std::string> names;
    for (const DiagCounter* at = table.buckets[index].get(); at != nullptr; at = at->next.get()) {
        names.emplace_back(at->name);
    }
    return names;
}

size_t population(const DiagHashTable& table) {
    size_t count = 0;
    for (uint32_t i = 0; i < kDiagBuckets; i++) {
        count += chain(table, i).size();
    }
    return count;
}

// The steps by hand: 1159241 ^ ((1159241 << 5) + (1159241 >> 2) + 'a'), and so on, modulo 2^32.
TEST(DiagHash, MixesEachByteIntoTheSeed) {
    EXPECT_EQ(diag_hash("", 509, 1159241), 1159241U % 509);
    EXPECT_EQ(diag_hash("a", 0x7fffffff, 1159241),
              (1159241U ^ (1159241U * 32 + 1159241U / 4 + 97U)) & 0x7fffffffU);
    uint32_t hash = 1159241;
    for (const char c : std::string("open\xff\x80")) {
        hash ^= hash * 32 + hash / 4 + static_cast<unsigned char>(c);
    }
    EXPECT_EQ(diag_hash("open\xff\x80", 509, 1159241), (hash & 0x7fffffffU) % 509);
}

TEST(DiagHash, TellsCaseAndBlanksApart) {
    const auto table = hashtable_create();
    hashtable_insert(table.get(), "Request");
    EXPECT_EQ(hashtable_lookup(table.get(), "request"), nullptr);
    EXPECT_EQ(hashtable_lookup(table.get(), "Request "), nullptr);
    EXPECT_NE(hashtable_lookup(table.get(), "Request"), nullptr);
}

TEST(DiagCounters, ANewTableIsEmpty) {
    const auto table = hashtable_create();
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(population(*table), 0U);
    EXPECT_EQ(hashtable_lookup(table.get(), "anything"), nullptr);
}

TEST(DiagCounters, ANewCounterGoesToTheTailWithValueZero) {
    const auto names = colliding(3);
    const auto table = hashtable_create();
    for (const std::string& name : names) {
        hashtable_insert(table.get(), name.c_str());
    }
    EXPECT_EQ(chain(*table, bucket(names[0])), names);
    EXPECT_EQ(hashtable_lookup(table.get(), names[0].c_str())->value, 0);
}

TEST(DiagCounters, ALookupMovesTheCounterToTheFrontOfItsBucket) {
    const auto names = colliding(4);
    const auto table = hashtable_create();
    for (const std::string& name : names) {
        hashtable_insert(table.get(), name.c_str());
    }
    DiagCounter* found = hashtable_lookup(table.get(), names[2].c_str());
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->name, names[2]);
    EXPECT_EQ(table->buckets[bucket(names[0])].get(), found);
    EXPECT_EQ(chain(*table, bucket(names[0])),
              (std::vector<std::string>{names[2], names[0], names[1], names[3]}));
    EXPECT_EQ(hashtable_lookup(table.get(), names[2].c_str()), found);
    EXPECT_EQ(hashtable_lookup(table.get(), names[3].c_str())->name, names[3]);
    EXPECT_EQ(chain(*table, bucket(names[0])),
              (std::vector<std::string>{names[3], names[2], names[0], names[1]}));
}

TEST(DiagCounters, AnInsertOfANameThatIsThereMakesNoSecondOneAndKeepsTheValue) {
    const auto names = colliding(2);
    const auto table = hashtable_create();
    hashtable_insert(table.get(), names[0].c_str());
    hashtable_insert(table.get(), names[1].c_str());
    hashtable_lookup(table.get(), names[0].c_str())->value = 5;
    hashtable_lookup(table.get(), names[1].c_str())->value = 7;
    hashtable_insert(table.get(), names[0].c_str());
    EXPECT_EQ(chain(*table, bucket(names[0])), names);
    EXPECT_EQ(hashtable_lookup(table.get(), names[0].c_str())->value, 5);
    EXPECT_EQ(hashtable_lookup(table.get(), names[1].c_str())->value, 7);
}

TEST(DiagCounters, AnAbsentNameInAnOccupiedBucketIsNotFound) {
    const auto names = colliding(3);
    const auto table = hashtable_create();
    hashtable_insert(table.get(), names[0].c_str());
    hashtable_insert(table.get(), names[1].c_str());
    EXPECT_EQ(hashtable_lookup(table.get(), names[2].c_str()), nullptr);
    EXPECT_EQ(chain(*table, bucket(names[0])), (std::vector<std::string>{names[0], names[1]}));
}

TEST(DiagCounters, ATableThatDoesNotExistHoldsNothing) {
    EXPECT_EQ(hashtable_lookup(nullptr, "openFiles"), nullptr);
}

TEST(DiagCountersDeathTest, ANameThatDoesNotFitEndsTheProcess) {
    const auto table = hashtable_create();
    hashtable_insert(table.get(), std::string(63, 'n').c_str());
    EXPECT_NE(hashtable_lookup(table.get(), std::string(63, 'n').c_str()), nullptr);
    EXPECT_DEATH(hashtable_insert(table.get(), std::string(64, 'n').c_str()), "");
}

TEST(DiagTables, HoldTheCountersOfEachDaemon) {
    inithashtable();
    ASSERT_NE(serverDiagTable, nullptr);
    ASSERT_NE(bksDiagTable, nullptr);
    EXPECT_EQ(population(*serverDiagTable), 53U);
    EXPECT_EQ(population(*bksDiagTable), 41U);
    for (const char* name : {"CMgr preallocated count", "Fatal I/O error count", "ReplyDisgard",
                             "backgroundCloseCount"}) {
        EXPECT_NE(hashtable_lookup(serverDiagTable.get(), name), nullptr) << name;
    }
    EXPECT_EQ(hashtable_lookup(serverDiagTable.get(), "ReplyDiscard"), nullptr);
    releasehashtable();
}

TEST(DiagTables, OnlyTheStorageDaemonsMemoryRequestHasATrailingBlank) {
    inithashtable();
    EXPECT_NE(hashtable_lookup(bksDiagTable.get(), "ipcListener memory request "), nullptr);
    EXPECT_EQ(hashtable_lookup(bksDiagTable.get(), "ipcListener memory request"), nullptr);
    EXPECT_NE(hashtable_lookup(serverDiagTable.get(), "ipcListener memory request"), nullptr);
    EXPECT_EQ(hashtable_lookup(serverDiagTable.get(), "ipcListener memory request "), nullptr);
    releasehashtable();
}

TEST(DiagTables, AreReleasedWhetherTheyExistOrNot) {
    releasehashtable();
    inithashtable();
    releasehashtable();
    EXPECT_EQ(serverDiagTable, nullptr);
    EXPECT_EQ(bksDiagTable, nullptr);
    releasehashtable();
}

TEST(DiagTables, TraceEachInsertInOrderAndTheirRelease) {
    const TraceText traced;
    inithashtable();
    releasehashtable();
    const std::string text = traced.get();
    EXPECT_TRUE(text.starts_with("insert CMgr preallocated count\ninsert ipcListener requests\n"));
    EXPECT_NE(text.find("\ninsert backgroundCloseCount\ninsert Request\n"), std::string::npos);
    EXPECT_TRUE(text.ends_with("\ninsert Purge volume requests\nrelease hash table\n"));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 53 + 41 + 1);
}

TEST(DiagTables, WithoutMemoryForTheFirstTheSecondIsNotTried) {
    const TraceText traced;
    {
        const FailingMalloc failing(sizeof(DiagHashTable));
        inithashtable();
    }
    EXPECT_EQ(traced.get(), "inithashtable failed\n");
    EXPECT_EQ(serverDiagTable, nullptr);
    EXPECT_EQ(bksDiagTable, nullptr);
}

} // namespace
} // namespace zrp::diag_counters_test
