// string_map.cpp - an entry's key is an object only while the entry is in a chain: NewEntry constructs it,
// FreeEntry and RemoveAll destroy it.
#include "foundation/string_map.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <new>

static_assert(alignof(StringMapEntry_t) <= alignof(BlockChain), "entries follow the link word directly");

namespace {

// The position of an iteration that has not begun: no entry can lie there.
void* BeforeFirst() noexcept { return reinterpret_cast<void*>(UINTPTR_MAX); }

}  // namespace

StringMap_t::StringMap_t(int32_t entriesPerBlock)
    : buckets(nullptr),
      bucketCount(17),
      count(0),
      freeEntries(nullptr),
      blocks(nullptr),
      blockSize(std::max(entriesPerBlock, 1)) {
    assert(entriesPerBlock > 0);
}

bool StringMap_t::Lookup(const char* key, void*& value) const noexcept {
    uint32_t bucket;
    const StringMapEntry_t* entry = FindEntry(key, bucket);
    if (entry == nullptr) return false;
    value = entry->value;
    return true;
}

bool StringMap_t::LookupKey(const char* key, const char*& storedKey) const noexcept {
    uint32_t bucket;
    const StringMapEntry_t* entry = FindEntry(key, bucket);
    if (entry == nullptr) return false;
    storedKey = entry->key.text;
    return true;
}

void*& StringMap_t::FindOrInsert(const char* key) {
    uint32_t bucket;
    StringMapEntry_t* entry = FindEntry(key, bucket);
    if (entry != nullptr) return entry->value;

    if (buckets == nullptr) InitBuckets(bucketCount, true);
    entry = NewEntry();
    try {
        entry->key = key;
    } catch (...) {
        FreeEntry(entry);
        throw;
    }
    entry->bucket = bucket;
    entry->next = buckets[bucket];
    buckets[bucket] = entry;
    return entry->value;
}

bool StringMap_t::RemoveKey(const char* key) noexcept {
    uint32_t bucket;
    StringMapEntry_t* entry = FindEntry(key, bucket);
    if (entry == nullptr) return false;
    StringMapEntry_t** link = &buckets[bucket];
    while (*link != entry) link = &(*link)->next;
    *link = entry->next;
    FreeEntry(entry);
    return true;
}

void StringMap_t::RemoveAll() noexcept {
    if (buckets != nullptr) {
        for (uint32_t i = 0; i < bucketCount; ++i) {
            for (StringMapEntry_t* entry = buckets[i]; entry != nullptr; entry = entry->next) {
                entry->key.~String_t();
            }
        }
        delete[] buckets;
        buckets = nullptr;
    }
    count = 0;
    freeEntries = nullptr;
    BlockChain::FreeBlocks(blocks);
    blocks = nullptr;
}

void StringMap_t::InitBuckets(uint32_t newCount, bool allocateNow) {
    assert(newCount > 0);
    if (newCount == 0) return;
    delete[] buckets;
    buckets = nullptr;
    bucketCount = newCount;
    if (allocateNow) buckets = new StringMapEntry_t* [newCount] {};
}

void* StringMap_t::StartPosition() const noexcept { return count > 0 ? BeforeFirst() : nullptr; }

void StringMap_t::GetNext(void*& position, String_t& key, void*& value) const {
    if (const StringMapEntry_t* entry = StepOver(position)) {
        key = entry->key;
        value = entry->value;
    }
}

void* StringMap_t::NextValue(void*& position) const noexcept {
    const StringMapEntry_t* entry = StepOver(position);
    return entry != nullptr ? entry->value : nullptr;
}

const StringMapEntry_t* StringMap_t::StepOver(void*& position) const noexcept {
    if (position == nullptr) return nullptr;
    const StringMapEntry_t* entry =
        position == BeforeFirst() ? FirstEntryFrom(0) : static_cast<const StringMapEntry_t*>(position);
    position = nullptr;
    if (entry != nullptr) position = entry->next != nullptr ? entry->next : FirstEntryFrom(entry->bucket + 1);
    return entry;
}

uint32_t StringMap_t::HashKey(const char* key) noexcept {
    uint32_t hash = 0;
    if (key == nullptr) return hash;
    // The sign is asked for by name: a plain char has none on some machines.
    for (; *key != '\0'; ++key) hash = hash * 33 + static_cast<uint32_t>(static_cast<signed char>(*key));
    return hash;
}

StringMapEntry_t* StringMap_t::FindEntry(const char* key, uint32_t& bucket) const noexcept {
    if (key == nullptr) key = "";
    bucket = HashKey(key) % bucketCount;
    if (buckets == nullptr) return nullptr;
    StringMapEntry_t* entry = buckets[bucket];
    while (entry != nullptr && std::strcmp(entry->key.text, key) != 0) entry = entry->next;
    return entry;
}

StringMapEntry_t* StringMap_t::FirstEntryFrom(uint32_t bucket) const noexcept {
    if (buckets == nullptr) return nullptr;
    for (; bucket < bucketCount; ++bucket) {
        if (buckets[bucket] != nullptr) return buckets[bucket];
    }
    return nullptr;
}

StringMapEntry_t* StringMap_t::NewEntry() {
    if (freeEntries == nullptr) {
        auto* entries = static_cast<StringMapEntry_t*>(
            BlockChain::AddBlock(blocks, static_cast<size_t>(blockSize), sizeof(StringMapEntry_t))
                ->Elements());
        for (int32_t i = blockSize - 1; i >= 0; --i) {
            entries[i].next = freeEntries;
            freeEntries = &entries[i];
        }
    }
    StringMapEntry_t* entry = freeEntries;
    new (&entry->key) String_t();
    freeEntries = entry->next;
    entry->value = nullptr;
    ++count;
    return entry;
}

void StringMap_t::FreeEntry(StringMapEntry_t* entry) noexcept {
    entry->key.~String_t();
    entry->next = freeEntries;
    freeEntries = entry;
    if (--count == 0) RemoveAll();
}
