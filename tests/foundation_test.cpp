// Strings, node lists and the class registry.
#include <gtest/gtest.h>

#include <cstring>
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
    EXPECT_EQ(1u, text.Find('.'));
    EXPECT_EQ(3u, text.Find(".s"));
    EXPECT_EQ(0u, text.Find("a.b.sn"));
    EXPECT_EQ(0u, text.Find(""));
    EXPECT_EQ(0xFFFFFFFFu, text.Find('A'));
    EXPECT_EQ(0xFFFFFFFFu, text.Find('\0'));
    EXPECT_EQ(0xFFFFFFFFu, text.Find("sn."));
    EXPECT_EQ(0xFFFFFFFFu, text.Find(static_cast<const char*>(nullptr)));
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
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(nullptr, list.blocks);
        EXPECT_EQ(nullptr, list.freeNodes);
        EXPECT_EQ(nullptr, list.head);
        EXPECT_EQ(nullptr, list.tail);
        EXPECT_EQ(0, list.count);
        EXPECT_EQ(10, list.blockSize);
        list.RemoveAll();  // of an empty list: the second round sees the same
    }
    list.AddHead(&values[5]);
    EXPECT_EQ((ints{5}), Contents(list));
}

TEST(List, InsertsNextToANodeOrAtTheEnds) {
    List_t list(10);
    ListNode_t* middle = list.InsertAfter(nullptr, &values[1]);
    list.InsertBefore(nullptr, &values[0]);
    list.InsertAfter(nullptr, &values[2]);
    list.InsertBefore(middle, &values[7]);
    list.InsertAfter(middle, &values[8]);
    list.InsertBefore(list.head, &values[3]);
    list.InsertAfter(list.tail, &values[4]);
    EXPECT_EQ((ints{3, 0, 7, 1, 8, 2, 4}), Contents(list));
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

TEST(List, FindsEveryOccurrenceOnceAndNodesByIndex) {
    List_t list(10);
    for (int i : {4, 1, 4, 4, 2}) list.AddTail(&values[i]);
    ints hits;
    for (ListNode_t* node = nullptr; (node = list.Find(&values[4], node)) != nullptr;) {
        for (int i = 0; i < 5; ++i) {
            if (list.FindIndex(i) == node) hits.push_back(i);
        }
    }
    EXPECT_EQ((ints{0, 2, 3}), hits);
    EXPECT_EQ(nullptr, list.Find(&values[9]));
    EXPECT_EQ(nullptr, list.FindIndex(-1));
    EXPECT_EQ(nullptr, list.FindIndex(5));
}

TEST(List, FollowsAModelThroughRandomWork) {
    constexpr uint32_t seed = 20411;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    List_t list(3);
    ints model;
    for (int step = 0; step < 3000; ++step) {
        const int value = static_cast<int>(random() % 64);
        const size_t at = model.empty() ? 0 : random() % model.size();
        const bool grow = random() % 100 < (step % 400 < 200 ? 70u : 30u);  // swells and runs empty in turn
        if (grow && random() % 2 == 0) {
            list.InsertBefore(list.FindIndex(static_cast<int32_t>(at)), &values[value]);
            model.insert(model.begin() + static_cast<long>(at), value);
        } else if (grow) {
            list.AddTail(&values[value]);
            model.push_back(value);
        } else if (!model.empty()) {
            list.RemoveAt(list.FindIndex(static_cast<int32_t>(at)));
            model.erase(model.begin() + static_cast<long>(at));
        }
        ASSERT_EQ(model, Contents(list)) << "step " << step;
        ASSERT_EQ(model.empty(), list.blocks == nullptr) << "step " << step;
    }
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
