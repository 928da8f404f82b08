// input_file.h - the checks that every file named by the user goes through before it is read.
#pragma once

#include <filesystem>
#include <string>

#include "outcome.h"

namespace tools {

// Fails unless the path is a regular file that this process may read: a folder, a device or a pipe is
// refused.
outcome_t CheckReadable(const std::filesystem::path& path);

// The whole file. Fails if it is longer than byteLimit.
outcome_t ReadWholeFile(const std::filesystem::path& path, size_t byteLimit, std::string& bytes);

}  // namespace tools
