// output_target.h - where a result goes: a file that appears when it is complete, or standard output.
#pragma once

#include <string>
#include <string_view>

#include "tools/output_file.h"

namespace tools {

class OutputTarget_t {
  public:
    // "-" is standard output. An empty name takes nothing: every step of it succeeds.
    explicit OutputTarget_t(std::string outputName) : name(std::move(outputName)) {}

    outcome_t Open() { return IsFile() ? file.Create(name) : Success(); }
    // False after an error, which Close then tells.
    bool Write(const void* bytes, size_t count);
    bool Write(std::string_view text) { return Write(text.data(), text.size()); }
    outcome_t Close();

    bool IsWanted() const { return !name.empty(); }
    bool ToStandardOutput() const { return name == "-"; }

  private:
    bool IsFile() const { return IsWanted() && !ToStandardOutput(); }

    std::string name;
    OutputFile_t file;
    int pipeError = 0;
};

}  // namespace tools
