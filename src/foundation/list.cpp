// list.cpp - nodes leave and enter a free list; only an empty list gives blocks back, and then all of them.
#include "foundation/list.h"

#include <algorithm>
#include <cassert>

static_assert(alignof(ListNode_t) <= alignof(BlockChain), "nodes follow the link word directly");

List_t::List_t(int32_t nodesPerBlock)
    : head(nullptr),
      tail(nullptr),
      count(0),
      freeNodes(nullptr),
      blocks(nullptr),
      blockSize(std::max(nodesPerBlock, 1)) {
    assert(nodesPerBlock > 0);
}

ListNode_t* List_t::AddHead(void* value) {
    ListNode_t* node = NewNode(nullptr, head);
    node->data = value;
    (head != nullptr ? head->prev : tail) = node;
    head = node;
    return node;
}

ListNode_t* List_t::AddTail(void* value) {
    ListNode_t* node = NewNode(tail, nullptr);
    node->data = value;
    (tail != nullptr ? tail->next : head) = node;
    tail = node;
    return node;
}

ListNode_t* List_t::InsertBefore(ListNode_t* node, void* value) {
    if (node == nullptr || node == head) return AddHead(value);
    ListNode_t* added = NewNode(node->prev, node);
    added->data = value;
    node->prev->next = added;
    node->prev = added;
    return added;
}

ListNode_t* List_t::InsertAfter(ListNode_t* node, void* value) {
    if (node == nullptr || node == tail) return AddTail(value);
    ListNode_t* added = NewNode(node, node->next);
    added->data = value;
    node->next->prev = added;
    node->next = added;
    return added;
}

// Both count down instead of walking to the end: if the other list is this one, its end moves along.
void List_t::AddHeadList(const List_t& other) {
    const ListNode_t* node = other.tail;
    for (int32_t left = other.count; left > 0; --left, node = node->prev) AddHead(node->data);
}

void List_t::AddTailList(const List_t& other) {
    const ListNode_t* node = other.head;
    for (int32_t left = other.count; left > 0; --left, node = node->next) AddTail(node->data);
}

void* List_t::RemoveHead() noexcept {
    assert(head != nullptr);
    if (head == nullptr) return nullptr;
    void* value = head->data;
    RemoveAt(head);
    return value;
}

void* List_t::RemoveTail() noexcept {
    assert(tail != nullptr);
    if (tail == nullptr) return nullptr;
    void* value = tail->data;
    RemoveAt(tail);
    return value;
}

void List_t::RemoveAt(ListNode_t* node) noexcept {
    assert(node != nullptr);
    if (node == nullptr) return;
    (node->prev != nullptr ? node->prev->next : head) = node->next;
    (node->next != nullptr ? node->next->prev : tail) = node->prev;
    FreeNode(node);
}

void List_t::RemoveAll() noexcept {
    head = nullptr;
    tail = nullptr;
    count = 0;
    freeNodes = nullptr;
    BlockChain::FreeBlocks(blocks);
    blocks = nullptr;
}

ListNode_t* List_t::FindIndex(int32_t index) const noexcept {
    if (index < 0 || index >= count) return nullptr;
    ListNode_t* node = head;
    while (index-- > 0) node = node->next;
    return node;
}

ListNode_t* List_t::Find(const void* value, const ListNode_t* startAfter) const noexcept {
    ListNode_t* node = startAfter != nullptr ? startAfter->next : head;
    while (node != nullptr && node->data != value) node = node->next;
    return node;
}

ListNode_t* List_t::NewNode(ListNode_t* prev, ListNode_t* next) {
    if (freeNodes == nullptr) {
        auto* nodes = static_cast<ListNode_t*>(
            BlockChain::AddBlock(blocks, static_cast<size_t>(blockSize), sizeof(ListNode_t))->Elements());
        // From the last to the first, so that nodes are handed out in address order.
        for (int32_t i = blockSize - 1; i >= 0; --i) {
            nodes[i].next = freeNodes;
            freeNodes = &nodes[i];
        }
    }
    ListNode_t* node = freeNodes;
    freeNodes = node->next;
    *node = {next, prev, nullptr};
    ++count;
    return node;
}

void List_t::FreeNode(ListNode_t* node) noexcept {
    node->next = freeNodes;
    freeNodes = node;
    if (--count == 0) RemoveAll();
}
