// handle_table.h - numbers that stand for objects and are never mistaken for another one: a number whose
// object is gone finds nothing, also when a new object has the old one's address or place.
//
// Objects carry an anchor, which lets go of the number when the object is destroyed. Nothing is entered, and
// nothing allocated, for an object that nobody has asked a number for. Letting go allocates nothing: objects
// may be destroyed in a tick. Thread: no lock; the owner of a table guards it.
#pragma once

#include <cstdint>
#include <vector>

class HandleTable_t;

class HandleAnchor_t {
  public:
    HandleAnchor_t() = default;
    ~HandleAnchor_t();
    HandleAnchor_t(const HandleAnchor_t&) = delete;
    HandleAnchor_t& operator=(const HandleAnchor_t&) = delete;

    uint64_t Id() const { return id; }  // 0 as long as nobody has asked the table

  private:
    friend class HandleTable_t;
    HandleTable_t* table = nullptr;
    uint64_t id = 0;
};

class HandleTable_t {
  public:
    // Numbers of a slot begin with that round, 1 or more: only tests have no time for the first four thousand
    // million.
    constexpr explicit HandleTable_t(uint32_t roundOfNewSlots = 1) : firstRound(roundOfNewSlots) {}

    // Makes room for one object more: the next one to be entered needs no memory. Errors: std::bad_alloc.
    void Reserve();
    // The object's number, given at the first call; never 0. Errors: std::bad_alloc, nothing is entered then.
    uint64_t IdOf(HandleAnchor_t& anchor, void* object);
    // Null for 0, for a number that was never given and for one whose object is gone.
    void* Find(uint64_t id) const noexcept;

  private:
    friend class HandleAnchor_t;
    struct slot_t {
        void* object = nullptr;
        uint32_t round;         // upper half of the number; the lower one is the index of the slot
        uint32_t nextFree = 0;  // while the slot is free
    };
    static constexpr uint32_t noSlot = 0xFFFFFFFFu;

    void LetGo(uint64_t id) noexcept;

    const uint32_t firstRound;
    std::vector<slot_t> slots;
    uint32_t firstFree = noSlot;
};
