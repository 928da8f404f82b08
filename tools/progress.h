// progress.h - a bar on standard error, if that is a terminal and nobody asked for quiet.
#pragma once

#include <cstdint>
#include <string>

namespace tools {

class Progress_t {
  public:
    // total: what counts as done; 0 means unknown and shows nothing.
    // The label is shortened, if need be, and printable.
    Progress_t(const std::string& label, uint64_t total);
    Progress_t(const Progress_t&) = delete;
    Progress_t& operator=(const Progress_t&) = delete;
    ~Progress_t();  // clears the line

    void Show(uint64_t done);

  private:
    std::string label;
    uint64_t total;
    int shownPercent = -1;
    bool isShown;
};

}  // namespace tools
