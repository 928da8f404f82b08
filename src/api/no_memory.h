// no_memory.h - where the wrappers end a lack of memory, which is all that the engine throws.
#pragma once

#include <new>

namespace api {

// An operation that finds no memory has done nothing.
template <typename Operation>
void IfMemoryAllows(Operation operate) noexcept {
    try {
        operate();
    } catch (const std::bad_alloc&) {}
}

// The same for one that has an answer.
template <typename Value, typename Operation>
Value WithMemory(Value withoutMemory, Operation operate) noexcept {
    try {
        return operate();
    } catch (const std::bad_alloc&) {
        return withoutMemory;
    }
}

}  // namespace api
