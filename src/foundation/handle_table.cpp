#include "foundation/handle_table.h"

#include <utility>

HandleAnchor_t::~HandleAnchor_t() {
    if (table) table->LetGo(id);
}

void HandleTable_t::Reserve() {
    if (firstFree != noSlot) return;
    slots.push_back({nullptr, firstRound, noSlot});
    firstFree = static_cast<uint32_t>(slots.size() - 1);
}

uint64_t HandleTable_t::IdOf(HandleAnchor_t& anchor, void* object) {
    if (anchor.table) return anchor.id;
    Reserve();
    const uint32_t index = firstFree;
    slot_t& slot = slots[index];
    firstFree = std::exchange(slot.nextFree, noSlot);
    slot.object = object;
    anchor.table = this;
    anchor.id = uint64_t{slot.round} << 32 | index;
    return anchor.id;
}

void* HandleTable_t::Find(uint64_t id) const noexcept {
    const auto index = static_cast<uint32_t>(id);
    if (index >= slots.size() || slots[index].round != id >> 32) return nullptr;
    return slots[index].object;
}

void HandleTable_t::LetGo(uint64_t id) noexcept {
    const auto index = static_cast<uint32_t>(id);
    slot_t& slot = slots[index];
    slot.object = nullptr;
    // A slot whose numbers are all used up stays empty: from here on they would come again.
    if (++slot.round != 0) slot.nextFree = std::exchange(firstFree, index);
}
