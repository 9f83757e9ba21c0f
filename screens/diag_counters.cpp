#include "screens/diag_counters.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "common/bounded_copy.h"
#include "common/requests/diag_keys.h"
#include "core/monitor.h"

namespace zrp {
namespace {

using Link = std::unique_ptr<DiagCounter>; // the head of a bucket, or the link to the next counter

Link& bucket_of(DiagHashTable* table, const char* name) {
    return table->buckets[diag_hash(name, kDiagBuckets, kDiagHashSeed)];
}

// The link to the counter of that name, or the empty link at the end of the chain.
Link& find_link(Link& bucket, const char* name) {
    Link* link = &bucket;
    for (DiagCounter* counter = link->get(); counter != nullptr && strcmp(counter->name, name) != 0;
         counter = link->get()) {
        link = &counter->next;
    }
    return *link;
}

void move_to_front(Link& bucket, Link& link) {
    if (&link == &bucket) {
        return;
    }
    Link found = std::move(link);
    link = std::move(found->next);
    found->next = std::move(bucket);
    bucket = std::move(found);
}

Link make_counter(const char* name) {
    const size_t length = strlen(name);
    if (length >= kDiagNameSize) {
        abort();
    }
    Link counter(new (std::nothrow) DiagCounter);
    if (counter != nullptr) {
        copy_cut(counter->name, name, length);
    }
    return counter;
}

template <size_t N>
bool fill(std::unique_ptr<DiagHashTable>& table, const char* const (&keys)[N]) {
    table = hashtable_create();
    if (table == nullptr) {
        trace("inithashtable failed\n");
        return false;
    }
    for (const char* key : keys) {
        trace("insert %s\n", key);
        hashtable_insert(table.get(), key);
    }
    return true;
}

} // namespace

std::unique_ptr<DiagHashTable> serverDiagTable;
std::unique_ptr<DiagHashTable> bksDiagTable;

uint32_t diag_hash(const char* name, uint32_t modulus, uint32_t seed) {
    uint32_t hash = seed;
    for (const char* at = name; *at != '\0'; at++) {
        hash ^= (hash << 5) + (hash >> 2) + static_cast<unsigned char>(*at);
    }
    return (hash & 0x7fffffff) % modulus;
}

std::unique_ptr<DiagHashTable> hashtable_create() {
    return std::unique_ptr<DiagHashTable>(new (std::nothrow) DiagHashTable);
}

void hashtable_insert(DiagHashTable* table, const char* name) {
    Link& bucket = bucket_of(table, name);
    Link& link = find_link(bucket, name);
    if (link == nullptr) {
        link = make_counter(name);
    } else {
        move_to_front(bucket, link);
    }
}

DiagCounter* hashtable_lookup(DiagHashTable* table, const char* name) {
    if (table == nullptr) {
        return nullptr;
    }
    Link& bucket = bucket_of(table, name);
    Link& link = find_link(bucket, name);
    if (link == nullptr) {
        return nullptr;
    }
    move_to_front(bucket, link);
    return bucket.get();
}

void inithashtable() {
    if (fill(serverDiagTable, serverDiagKeys)) {
        fill(bksDiagTable, bksDiagKeys);
    }
}

void releasehashtable() {
    trace("release hash table\n");
    serverDiagTable.reset();
    bksDiagTable.reset();
}

} // namespace zrp
