// output_file.h - a file that appears under its name only when it is complete.
//
// It is written beside its target and renamed at the end. Until then, and whenever anything fails, the target
// stays as it was: absent, or the older file.
#pragma once

#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

#include "outcome.h"

namespace tools {

class OutputFile_t {
  public:
    OutputFile_t() = default;
    OutputFile_t(const OutputFile_t&) = delete;
    OutputFile_t& operator=(const OutputFile_t&) = delete;
    ~OutputFile_t();  // without Commit: nothing is left behind

    // Makes an empty file in the target's folder. A symbolic link is followed. A target that exists and is no
    // regular file is refused.
    outcome_t Create(const std::filesystem::path& targetPath);

    // Appends; false after an error, which Commit then tells.
    bool Write(const void* bytes, size_t count);
    bool Write(std::string_view text) { return Write(text.data(), text.size()); }

    // For a writer that opens the file by itself: its path, and the file is closed here.
    const std::filesystem::path& CloseForWriter();

    // Closes the file and gives it the target's name.
    outcome_t Commit();

  private:
    std::filesystem::path target, temporary;
    std::string shownName;  // the target as the user gave it
    FILE* file = nullptr;
    int writeError = 0;  // errno of the first failed write
};

// Why one of the engine's imports, which only says that it failed, has failed: errno, set to 0 before it,
// tells whether the output could not be written; else it is the input.
outcome_t ImportFailure(const std::filesystem::path& input, const std::filesystem::path& output);

// A file without a name in the folder of `beside`, open for writing and reading, gone when it is closed.
FILE* OpenScratchFile(const std::filesystem::path& beside);

}  // namespace tools
