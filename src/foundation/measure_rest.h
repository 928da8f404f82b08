// measure_rest.h - how much of a file is left: what a header may claim at most.
#pragma once

#include <cstdint>
#include <cstdio>

// Bytes from the file's position to its end; the position stays. False for a file that has no end to seek to,
// such as a pipe.
inline bool MeasureRest(FILE* file, uint64_t& bytes) {
    const long position = std::ftell(file);
    if (position < 0 || std::fseek(file, 0, SEEK_END) != 0) return false;
    const long end = std::ftell(file);
    if (end < position || std::fseek(file, position, SEEK_SET) != 0) return false;
    bytes = static_cast<uint64_t>(end - position);
    return true;
}
