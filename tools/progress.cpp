// progress.cpp - redrawn only when the percentage changes.
#include "progress.h"

#include <algorithm>
#include <cstdio>

#include "terminal.h"
#include "text_table.h"

namespace tools {

namespace {

constexpr size_t mostLabelCharacters = 30;  // a line that wraps cannot be redrawn

std::string Shortened(std::string text) {
    size_t characters = 0;
    for (size_t at = 0; at < text.size(); ++at) {
        const bool goesOn = (static_cast<uint8_t>(text[at]) & 0xC0) == 0x80;  // a character of UTF-8
        if (!goesOn && ++characters > mostLabelCharacters) return text.substr(0, at) + "...";
    }
    return text;
}

}  // namespace

Progress_t::Progress_t(const std::string& barLabel, uint64_t totalCount)
    : label(Shortened(Printable(barLabel))), total(totalCount), isShown(ShowsProgress()) {}

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
