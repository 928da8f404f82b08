#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>

#include "foundation/string_map.h"

namespace {

int values[8];

// The keys in iteration order, joined with blanks.
std::string Order(const StringMap_t& map) {
    std::string order;
    String_t key;
    void* value;
    for (void* position = map.StartPosition(); position != nullptr;) {
        map.GetNext(position, key, value);
        order += (order.empty() ? "" : " ") + std::string(key.text);
    }
    return order;
}

TEST(StringMap, HashesSignedBytes) {
    const struct {
        const char* key;
        uint32_t hash, bucket;
    } cases[] = {
        {"", 0, 0},
        {"a", 97, 12},
        {"b", 98, 13},
        {"ab", 3299, 1},
        {"bA", 3299, 1},
        {"\xFF", 0xFFFFFFFFu, 0},
        {"a\xFF", 3200, 4},             // 5 with unsigned bytes
        {"zzzzzzzz", 0x6C1A6ED0u, 10},  // passes 32 bits
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.hash, StringMap_t::HashKey(c.key)) << c.key;
        StringMap_t map(10);
        map.FindOrInsert(c.key);
        ASSERT_NE(nullptr, map.buckets[c.bucket]) << c.key;
        EXPECT_EQ(c.bucket, map.buckets[c.bucket]->bucket) << c.key;
    }
}

TEST(StringMap, IteratesByBucketAndNewestFirstWithinOne) {
    const struct {
        const char* inserted[4];
        const char* order;
    } cases[] = {
        {{"a", "b", "ab"}, "ab a b"}, {{"b", "ab", "a"}, "ab a b"},         {{"ab", "a", "b"}, "ab a b"},
        {{"ab", "bA"}, "bA ab"},      {{"bA", "a", "ab", "bA"}, "ab bA a"},  // a present key keeps its place
    };
    for (const auto& c : cases) {
        StringMap_t map(10);
        for (const char* key : c.inserted) {
            if (key != nullptr) map.FindOrInsert(key);
        }
        EXPECT_EQ(c.order, Order(map));
    }
}

TEST(StringMap, AnswersAndChangesNothingElse) {
    StringMap_t map(10);
    void* value = &values[0];
    const char* stored = "untouched";
    EXPECT_FALSE(map.Lookup("a", value) || map.LookupKey("a", stored) || map.RemoveKey("a"));
    EXPECT_EQ(&values[0], value);
    EXPECT_STREQ("untouched", stored);
    EXPECT_TRUE(!map.buckets && !map.blocks && !map.StartPosition()) << "a new map takes no memory";
    EXPECT_EQ(17u, map.bucketCount);

    void*& slot = map.FindOrInsert("a");
    EXPECT_EQ(nullptr, slot);
    EXPECT_EQ(&slot, &map.FindOrInsert("a"));
    EXPECT_EQ(1, map.count);
    EXPECT_FALSE(map.Lookup("A", value));
    const char key[] = "ab";
    map.FindOrInsert(key);
    EXPECT_TRUE(map.LookupKey(key, stored));
    EXPECT_STREQ("ab", stored);
    EXPECT_NE(key, stored);
    EXPECT_FALSE(map.Lookup(nullptr, value));
    EXPECT_EQ(&map.FindOrInsert(nullptr), &map.FindOrInsert(""));
}

TEST(StringMap, GetNextHasNothingToGiveAtTheEndOrInAnEmptyMap) {
    StringMap_t map(10), full(10);
    full.FindOrInsert("a");
    void* const start = full.StartPosition();
    EXPECT_EQ(~uintptr_t{0}, reinterpret_cast<uintptr_t>(start));
    const std::pair<const StringMap_t*, void*> cases[] = {{&map, nullptr}, {&map, start}, {&full, nullptr}};
    for (auto [owner, position] : cases) {
        String_t key("untouched");
        void* value = &values[3];
        owner->GetNext(position, key, value);
        EXPECT_EQ(nullptr, position);
        EXPECT_STREQ("untouched", key.text);
        EXPECT_EQ(&values[3], value);
    }
}

TEST(StringMap, InitBucketsChangesTheCount) {
    StringMap_t map(10);
    map.InitBuckets(1, false);
    EXPECT_EQ(nullptr, map.buckets);
    for (const char* key : {"a", "b", "ab"}) map.FindOrInsert(key);
    EXPECT_EQ(1u, map.bucketCount);
    EXPECT_EQ("ab b a", Order(map));
}

TEST(StringMap, FollowsAModelThroughRandomWork) {
    constexpr uint32_t seed = 7741;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    StringMap_t map(3);
    std::map<std::string, void*> model;
    for (int step = 0; step < 4000; ++step) {
        std::string key(1, static_cast<char>(random()));
        key += static_cast<char>('a' + random() % 8);
        if (random() % 100 < (step % 400 < 200 ? 70u : 30u)) {
            map.FindOrInsert(key.c_str()) = model[key.c_str()] = &values[random() % 8];
        } else {
            if (!model.empty() && random() % 2 == 0)
                key = std::next(model.begin(), static_cast<long>(random() % model.size()))->first;
            ASSERT_EQ(model.erase(key.c_str()) == 1, map.RemoveKey(key.c_str())) << "step " << step;
        }
        ASSERT_EQ(model.empty(), !map.buckets && !map.blocks && !map.freeEntries) << "step " << step;
        ASSERT_EQ(model.size(), static_cast<size_t>(map.count));
        std::map<std::string, void*> seen;
        String_t text;
        void* value;
        for (void* position = map.StartPosition(); position != nullptr;) {
            map.GetNext(position, text, value);
            seen[text.text] = value;
            void* found = nullptr;
            ASSERT_TRUE(map.Lookup(text.text, found) && found == value) << "step " << step;
        }
        ASSERT_EQ(model, seen) << "step " << step;
    }
}

}  // namespace
