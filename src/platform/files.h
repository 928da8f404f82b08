// files.h - opening what the engine reads.
#pragma once

#include <cstdio>

namespace platform {

// Opens a file for reading, from its first byte. Null for anything but a regular file: a path may come from
// an archive, and a pipe that nobody writes to would keep its reader waiting for ever. Thread: any; blocks on
// the disk.
[[nodiscard]] FILE* OpenRegularFile(const char* path) noexcept;

}  // namespace platform
