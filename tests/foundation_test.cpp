// Strings, node lists and the class registry.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "foundation/class_registry.h"
#include "foundation/list.h"
#include "foundation/string.h"

namespace {

TEST(String, KeepsItsBlockWhenTheTextIsEqualAndCopiesOtherwise) {
    String_t name("engine");
    const char* block = name.text;
    const String_t& itself = name;
    name = itself;
    name = "engine";
    EXPECT_EQ(block, name.text);

    String_t copy(name);
    EXPECT_NE(name.text, copy.text);
    copy = "horn";
    EXPECT_STREQ("engine", name.text);

    name = name.text + 3;  // a source inside the block that is to go
    EXPECT_STREQ("ine", name.text);
}

TEST(String, EmptyIsABlockOfItsOwn) {
    String_t fromNull(nullptr), other("x");
    other = static_cast<const char*>(nullptr);
    ASSERT_NE(nullptr, fromNull.text);
    ASSERT_NE(nullptr, other.text);
    EXPECT_NE(fromNull.text, other.text);
    EXPECT_EQ(0, fromNull.text[0]);
    EXPECT_EQ(0, other.text[0]);
}

TEST(String, FindsTheFirstOccurrence) {
    const String_t text("a.b.sn");
    constexpr uint32_t none = 0xFFFFFFFF;
    EXPECT_EQ(1u, text.Find('.'));
    EXPECT_EQ(none, text.Find('A'));
    EXPECT_EQ(none, text.Find('\0'));
    const std::pair<const char*, uint32_t> words[] = {
        {".s", 3}, {"a.b.sn", 0}, {"", 0}, {"sn.", none}, {nullptr, none}};
    for (const auto& [word, at] : words) EXPECT_EQ(at, text.Find(word)) << at;
}

int values[64];  // the lists below hold pointers to these; what they point to never matters

int CountBlocks(const List_t& list) {
    int blocks = 0;
    for (const BlockChain* block = list.blocks; block != nullptr; block = block->older) ++blocks;
    return blocks;
}

// The values from head to tail, after checking that the links agree in both directions.
std::vector<int> Contents(const List_t& list) {
    std::vector<int> found;
    const ListNode_t* before = nullptr;
    for (const ListNode_t* node = list.head; node != nullptr; before = node, node = node->next) {
        EXPECT_EQ(before, node->prev);
        found.push_back(static_cast<int>(static_cast<int*>(node->data) - values));
    }
    EXPECT_EQ(before, list.tail);
    EXPECT_EQ(static_cast<size_t>(list.count), found.size());
    return found;
}

using ints = std::vector<int>;

TEST(List, TakesBlocksAsItGrowsAndGivesAllBackWhenItRunsEmpty) {
    List_t list(10);
    EXPECT_EQ(nullptr, list.blocks);
    for (int i = 0; i < 12; ++i) {
        const ListNode_t* node = list.AddTail(&values[i]);
        EXPECT_EQ(i < 10 ? 1 : 2, CountBlocks(list)) << "after insertion " << i + 1;
        EXPECT_TRUE(i % 10 == 0 || node == node->prev + 1) << "nodes come in address order";
    }
    for (int i = 0; i < 11; ++i) {
        EXPECT_EQ(&values[i], list.RemoveHead());
        EXPECT_EQ(2, CountBlocks(list)) << "after removal " << i + 1;
    }
    EXPECT_EQ(&values[11], list.RemoveTail());
    list.RemoveAll();  // of an empty list
    EXPECT_TRUE(!list.blocks && !list.freeNodes && !list.head && !list.tail && list.count == 0);
    list.AddHead(&values[5]);
    EXPECT_EQ((ints{5}), Contents(list));
}

TEST(List, AddsOtherListsInTheirOrder) {
    List_t list(10), other(2), empty(10);
    list.AddTail(&values[0]);
    for (int i = 1; i < 4; ++i) other.AddTail(&values[i]);
    list.AddHeadList(other);
    EXPECT_EQ((ints{1, 2, 3, 0}), Contents(list));
    list.AddTailList(other);
    list.AddTailList(empty);
    EXPECT_EQ((ints{1, 2, 3, 0, 1, 2, 3}), Contents(list));
    other.AddTailList(other);
    other.AddHeadList(other);
    EXPECT_EQ((ints{1, 2, 3, 1, 2, 3, 1, 2, 3, 1, 2, 3}), Contents(other));
}

TEST(List, FollowsAModelThroughRandomWork) {
    constexpr uint32_t seed = 20411;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    List_t list(3);
    ints model;
    for (int step = 0; step < 3000; ++step) {
        const int value = static_cast<int>(random() % 8);
        const size_t at = model.empty() ? 0 : random() % model.size();
        const bool grow = random() % 100 < (step % 400 < 200 ? 70u : 30u);  // swells and runs empty in turn
        const bool isAtEnd = random() % 4 == 0, isAfter = random() % 2 == 0;
        ListNode_t* const node = list.FindIndex(static_cast<int32_t>(at));
        const auto place = model.begin() + static_cast<long>(at);
        if (grow && (isAtEnd || node == nullptr)) {
            isAfter ? list.InsertAfter(nullptr, &values[value]) : list.InsertBefore(nullptr, &values[value]);
            model.insert(isAfter ? model.end() : model.begin(), value);
        } else if (grow) {
            isAfter ? list.InsertAfter(node, &values[value]) : list.InsertBefore(node, &values[value]);
            model.insert(place + isAfter, value);
        } else if (node != nullptr) {
            list.RemoveAt(node);
            model.erase(place);
        }
        ASSERT_EQ(model, Contents(list)) << "step " << step;
        ASSERT_EQ(model.empty(), list.blocks == nullptr) << "step " << step;
        int hits = 0;
        for (ListNode_t* hit = nullptr; (hit = list.Find(&values[value], hit)) != nullptr; ++hits)
            ASSERT_EQ(&values[value], hit->data);
        ASSERT_EQ(std::count(model.begin(), model.end(), value), hits) << "step " << step;
    }
    EXPECT_EQ(nullptr, list.FindIndex(-1));
    EXPECT_EQ(nullptr, list.FindIndex(list.count));
}

TEST(ListDeathTest, RemovingFromAnEmptyListIsACallersMistake) {
    List_t list(10);
    EXPECT_DEBUG_DEATH(EXPECT_EQ(nullptr, list.RemoveHead()), "head");
    EXPECT_DEBUG_DEATH(EXPECT_EQ(nullptr, list.RemoveTail()), "tail");
    EXPECT_EQ(0, list.count);
}

int made = 0;
void* MakeInt() { return new int(++made); }
void* MakeNothing() { return nullptr; }

TEST(ClassRegistry, FindsWholeTagsAndMakesANewObjectEachTime) {
    ClassRegistry entry("t-sn", MakeInt);
    ClassRegistry barren("t-none", MakeNothing);
    EXPECT_EQ(&entry, ClassRegistry::Find("t-sn"));
    const std::unique_ptr<int> first(static_cast<int*>(ClassRegistry::Create("t-sn")));
    const std::unique_ptr<int> second(static_cast<int*>(ClassRegistry::Create("t-sn")));
    ASSERT_TRUE(first && second);
    EXPECT_NE(*first, *second);
    EXPECT_EQ(nullptr, ClassRegistry::Create("t-none"));

    const int madeBefore = made;
    for (const char* tag : {"", "t", "t-s", "t-sn ", "T-SN", "t-SN"}) {
        EXPECT_EQ(nullptr, ClassRegistry::Create(tag)) << tag;
    }
    EXPECT_EQ(nullptr, ClassRegistry::Create(nullptr));
    EXPECT_EQ(madeBefore, made);
}

TEST(ClassRegistry, EntriesComeAndGoAnywhereInTheList) {
    ClassRegistry* const headBefore = AudioSystem::classRegistryHead;
    for (size_t leaving = 0; leaving < 3; ++leaving) {
        const char* tags[] = {"t-a", "t-b", "t-c"};
        std::unique_ptr<ClassRegistry> entries[3];
        for (size_t i = 0; i < 3; ++i) entries[i] = std::make_unique<ClassRegistry>(tags[i], MakeInt);
        EXPECT_EQ(entries[2].get(), AudioSystem::classRegistryHead);
        EXPECT_EQ(entries[1].get(), entries[2]->nextEntry);
        entries[leaving].reset();
        for (size_t i = 0; i < 3; ++i) EXPECT_EQ(entries[i].get(), ClassRegistry::Find(tags[i]));
    }
    EXPECT_EQ(headBefore, AudioSystem::classRegistryHead);
}

}  // namespace
