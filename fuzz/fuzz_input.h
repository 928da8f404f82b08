// fuzz_input.h - what every fuzz target needs: bytes taken as numbers, files for them, and the end of a run
// that has gone wrong.
//
// A target is a function that takes any bytes and returns 0. Whatever must hold is said by FUZZ_REQUIRE: it
// ends the process, which a fuzzer and a test both take for a failure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/scratch_folder.h"

#define FUZZ_REQUIRE(condition) \
    (static_cast<bool>(condition) ? void() : fuzz::Fail(#condition, __FILE__, __LINE__))

namespace fuzz {

[[noreturn]] inline void Fail(const char* condition, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    std::abort();
}

// The input as a run of numbers; behind its end all of them are 0.
class Input_t {
  public:
    Input_t(const uint8_t* data, std::size_t size) : next(data), end(data + size) {}

    bool IsEmpty() const { return next == end; }
    uint8_t Byte() { return IsEmpty() ? uint8_t{0} : *next++; }
    uint32_t Word() {
        const uint32_t low = Byte();
        return low | uint32_t{Byte()} << 8;
    }
    uint32_t Long() {
        const uint32_t low = Word();
        return low | Word() << 16;
    }
    uint32_t Below(uint32_t limit) {
        return (limit <= 256 ? Byte() : limit <= 65536 ? Word() : Long()) % limit;
    }
    bool Flag() { return Byte() & 1; }
    std::size_t Left() const { return static_cast<std::size_t>(end - next); }
    const uint8_t* Take(std::size_t count) {
        const uint8_t* taken = next;
        next += count;
        return taken;
    }

  private:
    const uint8_t* next;
    const uint8_t* end;
};

// A folder of the process, gone at its end.
inline const ScratchFolder_t& Scratch() {
    static const ScratchFolder_t folder;
    return folder;
}

// The path of a new file there.
inline std::string WriteScratch(const std::string& name, const void* bytes, std::size_t count) {
    return Scratch().Write(name, {static_cast<const char*>(bytes), count});
}

}  // namespace fuzz
