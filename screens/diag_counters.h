// The counter store: for each daemon a table from a counter's name to its last value.
//
// The tables are filled with the known names at start-up and never grow. The main thread creates
// them before the refresh thread starts and releases them after it has ended. In between only the
// refresh thread uses them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace zrp {

inline constexpr size_t kDiagNameSize = 64; // including the terminator
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

// Creates an empty table. Returns null without memory.
std::unique_ptr<DiagHashTable> hashtable_create();

// Appends a counter with the value 0 to its bucket. A counter that exists already moves to the
// front of its bucket and keeps its value. Without memory nothing is added. A name that is too long
// for a counter is a programming error and aborts the process.
void hashtable_insert(DiagHashTable* table, const char* name);

// Moves the counter of that name to the front of its bucket and returns it. Returns null if there
// is none or no table.
DiagCounter* hashtable_lookup(DiagHashTable* table, const char* name);

// Creates and fills both tables, the main daemon's first. Without memory for a table, it and those
// after it stay null.
void inithashtable();

// Frees both tables.
void releasehashtable();

} // namespace zrp
