// The counter store: for each daemon a table from a counter's name to its last value.
//
// The tables are filled with the known names at start-up and never grow. The main thread makes them
// before the refresh thread starts and releases them after it has ended; in between only the
// refresh thread touches them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace zrp {

inline constexpr size_t kDiagNameSize = 64; // a counter's name with its terminator
inline constexpr uint32_t kDiagBuckets = 509;
inline constexpr uint32_t kDiagHashSeed = 1159241;

struct DiagCounter {
    std::unique_ptr<DiagCounter> next; // in the same bucket
    char name[kDiagNameSize] = "";     // as the daemon sends it; case matters
    int32_t value = 0;
};

struct DiagHashTable {
    std::unique_ptr<DiagCounter> buckets[kDiagBuckets];
};

extern std::unique_ptr<DiagHashTable> serverDiagTable; // counters of the main daemon, or null
extern std::unique_ptr<DiagHashTable> bksDiagTable;    // counters of the storage daemon, or null

// The bucket of a name among `modulus` buckets.
uint32_t diag_hash(const char* name, uint32_t modulus, uint32_t seed);

// An empty table. Null without memory.
std::unique_ptr<DiagHashTable> hashtable_create();

// Adds a counter with the value 0 behind the others of its bucket. One that is there already moves
// to the front of its bucket and keeps its value. Without memory nothing is added. A name that does
// not fit a counter ends the process: it can only be a programming error.
void hashtable_insert(DiagHashTable* table, const char* name);

// The counter of that name, which moves to the front of its bucket, or null. A null table holds
// none.
DiagCounter* hashtable_lookup(DiagHashTable* table, const char* name);

// Makes and fills both tables. Without memory a table stays null, and the one after it too.
void inithashtable();

// Frees both tables, where they exist.
void releasehashtable();

} // namespace zrp
