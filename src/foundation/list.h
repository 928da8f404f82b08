// list.h - List_t, a doubly linked list of untyped pointers with pooled nodes.
//
// Walk it through head and next. A step of the walk may remove the node at hand, so read `next` before it; a
// node pointer is dead after the node's removal. A list that runs empty gives all its memory back. Thread: no
// lock; the owner of an instance guards it.
#pragma once

#include <cstdint>

#include "foundation/block_chain.h"

struct ListNode_t {
    ListNode_t* next;  // null at the tail; links the free list while the node is free
    ListNode_t* prev;  // null at the head
    void* data;        // not owned
};

class List_t {
  public:
    // Allocates nothing. A nodesPerBlock below 1 is a caller's mistake and counts as 1.
    explicit List_t(int32_t nodesPerBlock);
    ~List_t() { RemoveAll(); }
    List_t(const List_t&) = delete;
    List_t& operator=(const List_t&) = delete;

    // All insertions return the new node. Heap: one block per blockSize nodes. Errors: std::bad_alloc, the
    // list is then unchanged.
    ListNode_t* AddHead(void* value);
    ListNode_t* AddTail(void* value);
    ListNode_t* InsertBefore(ListNode_t* node, void* value);  // null node: AddHead
    ListNode_t* InsertAfter(ListNode_t* node, void* value);   // null node: AddTail

    // The values of the other list in their order, in front of this one or behind it. The other list may be
    // this one: its values then stand in it twice. std::bad_alloc leaves those that were added before it.
    void AddHeadList(const List_t& other);
    void AddTailList(const List_t& other);

    // The list must not be empty; in release builds an empty list gives null and stays as it is.
    void* RemoveHead() noexcept;
    void* RemoveTail() noexcept;

    // The node must belong to this list; null does nothing in release builds.
    void RemoveAt(ListNode_t* node) noexcept;

    // Empties the list and releases every block. What `data` points to is not touched.
    void RemoveAll() noexcept;

    // Null for an index outside 0 to count - 1.
    ListNode_t* FindIndex(int32_t index) const noexcept;

    // The first node with that very pointer behind startAfter, from the head if startAfter is null; null if
    // none.
    ListNode_t* Find(const void* value, const ListNode_t* startAfter = nullptr) const noexcept;

    ListNode_t* head;       // null exactly when count is 0
    ListNode_t* tail;       // likewise
    int32_t count;          // nodes in the list
    ListNode_t* freeNodes;  // linked through next
    BlockChain* blocks;     // all nodes of this list; null when a removal has emptied it
    int32_t blockSize;      // nodes per block, at least 1

  private:
    ListNode_t* NewNode(ListNode_t* prev, ListNode_t* next);
    void FreeNode(ListNode_t* node) noexcept;
};
