// difference_view.cpp - see the header.
#include "tools/difference_view.h"

#include <algorithm>
#include <cmath>

namespace tools {

namespace {

constexpr uint32_t framesBefore = 256, framesAfter = 768;  // 23 ms in all: single waves can be told apart
constexpr uint64_t mostColumns = 960;

void DropFront(std::vector<double>& samples, size_t count) {
    samples.erase(samples.begin(),
                  samples.begin() + static_cast<std::ptrdiff_t>(std::min(count, samples.size())));
}

}  // namespace

DifferenceView_t::DifferenceView_t(uint64_t frames) {
    difference.frames = frames;
    difference.differenceByColumn.resize(std::min(frames, mostColumns));
}

void DifferenceView_t::Add(std::optional<int> heard, std::optional<int> wanted) {
    const uint64_t frame = samples++ / 2;
    if (heard != wanted) {
        if (!hasDiffered) difference.firstFrame = frame;
        hasDiffered = true;
        const double size = std::abs(heard.value_or(0) - wanted.value_or(0)) / 32768.0;
        std::vector<double>& columns = difference.differenceByColumn;
        if (frame < difference.frames) {
            double& column = columns[frame * columns.size() / difference.frames];
            column = std::max(column, size);
        }
    }
    if (hasDiffered && samplesAfter++ >= 2 * framesAfter) return;
    if (heard) difference.got.push_back(*heard / 32768.0);
    if (wanted) difference.expected.push_back(*wanted / 32768.0);
    // Both are here until one ends: they are dropped together. Not one by one, which would move the rest each
    // time.
    if (!hasDiffered && difference.got.size() >= 8 * framesBefore) {
        const size_t count = difference.got.size() - 2 * framesBefore;
        DropFront(difference.got, count);
        DropFront(difference.expected, count);
        difference.windowFrame += count / 2;
    }
}

}  // namespace tools
