// string_map.h - StringMap_t, a hash map from text to an untyped pointer with pooled entries.
//
// It owns its keys, never its values. The number of buckets does not grow. Iteration goes through the buckets
// in ascending order and within a bucket from the newest entry to the oldest, so it depends on nothing but
// the keys and the order of insertion; archives are written in it. A null key counts as the empty text
// everywhere. Thread: no lock; the owner of an instance guards it.
#pragma once

#include <cstdint>

#include "foundation/block_chain.h"
#include "foundation/string.h"

struct StringMapEntry_t {
    StringMapEntry_t* next;  // same bucket, null at the end; links the free list while the entry is free
    uint32_t bucket;         // index of the bucket that holds the entry
    String_t key;            // the map's own copy; no object while the entry is free
    void* value;             // not owned, null in a new entry
};

class StringMap_t {
  public:
    // Allocates nothing. An entriesPerBlock below 1 is a caller's mistake and counts as 1.
    explicit StringMap_t(int32_t entriesPerBlock);
    ~StringMap_t() { RemoveAll(); }
    StringMap_t(const StringMap_t&) = delete;
    StringMap_t& operator=(const StringMap_t&) = delete;

    // False, with the out value untouched, for an absent key. LookupKey gives the map's own copy of the key,
    // which lives as long as its entry.
    bool Lookup(const char* key, void*& value) const noexcept;
    bool LookupKey(const char* key, const char*& storedKey) const noexcept;

    // The value of the key's entry, to be read or set; a new entry with value null if there was none. The
    // reference lives as long as the entry. Errors: std::bad_alloc, the map then holds what it held.
    void*& FindOrInsert(const char* key);

    // False for an absent key. The value is not touched. A map that runs empty gives all its memory back.
    bool RemoveKey(const char* key) noexcept;

    // Empties the map and gives all its memory back; bucketCount and blockSize stay.
    void RemoveAll() noexcept;

    // Replaces the bucket array by a zeroed one, or by none if allocateNow is false. Entries are not moved,
    // so it is for maps without entries. A newCount of 0 is a caller's mistake and changes nothing. Errors:
    // std::bad_alloc, there is then no array.
    void InitBuckets(uint32_t newCount, bool allocateNow);

    // while (position != nullptr) GetNext(position, key, value): the out values are those of the entry
    // stepped over. The start is all bits set, null for an empty map. GetNext has moved past the entry when
    // it returns: the value may be destroyed, but entries must stay until the loop has ended. A position of
    // null, or a map without entries, leaves the out values untouched and the position null. Errors:
    // std::bad_alloc for the key.
    void* StartPosition() const noexcept;
    void GetNext(void*& position, String_t& key, void*& value) const;
    // The same walk without the keys, which takes no memory: what frees must not fail. Null where GetNext
    // leaves the out values untouched.
    void* NextValue(void*& position) const noexcept;

    // hash = hash * 33 + byte, modulo 2^32, a byte of 0x80 or above counting as negative.
    static uint32_t HashKey(const char* key) noexcept;

    StringMapEntry_t** buckets;  // bucketCount chain heads; null until the first insertion and when run empty
    uint32_t bucketCount;        // 17 from construction
    int32_t count;               // entries in the map
    StringMapEntry_t* freeEntries;  // linked through next
    BlockChain* blocks;             // all entries of this map
    int32_t blockSize;              // entries per block, at least 1

  private:
    StringMapEntry_t* FindEntry(const char* key, uint32_t& bucket) const noexcept;
    const StringMapEntry_t* StepOver(void*& position) const noexcept;
    StringMapEntry_t* FirstEntryFrom(uint32_t bucket) const noexcept;
    StringMapEntry_t* NewEntry();
    void FreeEntry(StringMapEntry_t* entry) noexcept;
};
