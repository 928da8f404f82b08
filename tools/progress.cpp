// progress.cpp - redrawn only when the percentage changes.
#include "progress.h"

#include <algorithm>
#include <cstdio>

#include "terminal.h"

namespace tools {

Progress_t::Progress_t(std::string barLabel, uint64_t totalCount)
    : label(std::move(barLabel)), total(totalCount), isShown(ShowsProgress()) {}

Progress_t::~Progress_t() {
    if (shownPercent >= 0) std::fputs("\r\x1b[K", stderr);  // to the line's start, erase to its end
}

void Progress_t::Show(uint64_t done) {
    if (!isShown || total == 0) return;
    const int percent =
        static_cast<int>(100.0 * static_cast<double>(std::min(done, total)) / static_cast<double>(total));
    if (percent == shownPercent) return;
    shownPercent = percent;
    const auto filled = static_cast<size_t>(percent * 30 / 100);
    const std::string bar = std::string(filled, '#') + std::string(30 - filled, '.');
    std::fprintf(stderr, "\r%s [%s] %3d%%", label.c_str(), bar.c_str(), percent);
    std::fflush(stderr);
}

}  // namespace tools
