// render_figures.cpp - see the header.
#include "tools/render_figures.h"

#include <algorithm>
#include <utility>

namespace tools {

namespace {

std::vector<double> TickSeconds(const render_figures_t& figures) {
    std::vector<double> seconds;
    for (const host_frame_t& frame : figures.hostFrames) {
        if (frame.stalled < frame.hostFrames) seconds.push_back(frame.tickSeconds);
    }
    std::sort(seconds.begin(), seconds.end());
    return seconds;
}

}  // namespace

void render_figures_t::CountVoices() {
    std::vector<std::pair<uint32_t, int32_t>> changes;  // where one ends before where one begins
    for (const play_t& play : plays) {
        if (!play.heardFrame) continue;
        changes.emplace_back(*play.heardFrame, 1);
        changes.emplace_back(play.endFrame, -1);
    }
    std::sort(changes.begin(), changes.end());
    auto change = changes.begin();
    int32_t count = 0;
    const auto countUpTo = [&](uint32_t frame) {  // the most on the way
        int32_t most = count;
        for (; change != changes.end() && change->first <= frame; ++change)
            most = std::max(most, count += change->second);
        return most;
    };
    for (size_t i = 0; i < hostFrames.size(); ++i) {
        countUpTo(hostFrames[i].frame);
        const uint32_t last = (i + 1 < hostFrames.size() ? hostFrames[i + 1].frame : frames) - 1;
        hostFrames[i].voices = static_cast<uint32_t>(countUpTo(last));
        mostVoices = std::max(mostVoices, hostFrames[i].voices);
    }
}

uint64_t render_figures_t::UnderrunFrames() const {
    uint64_t sum = 0;
    for (const host_frame_t& frame : hostFrames) sum += frame.underrunFrames;
    return sum;
}

uint64_t render_figures_t::LateFrames() const {
    uint64_t sum = 0;
    for (const host_frame_t& frame : hostFrames) sum += frame.lateFrames;
    return sum;
}

uint32_t render_figures_t::HeardPlays() const {
    return static_cast<uint32_t>(std::count_if(
        plays.begin(), plays.end(), [](const play_t& play) { return play.heardFrame.has_value(); }));
}

double render_figures_t::MedianTickSeconds() const {
    const std::vector<double> seconds = TickSeconds(*this);
    return seconds.empty() ? 0.0 : seconds[seconds.size() / 2];
}

double render_figures_t::LongestTickSeconds() const {
    const std::vector<double> seconds = TickSeconds(*this);
    return seconds.empty() ? 0.0 : seconds.back();
}

const char* EndingName(ending_t ending) {
    switch (ending) {
        case ending_t::sceneEnd:
            return "scene-end";
        case ending_t::played:
            return "played";
        case ending_t::cutShort:
            return "cut-short";
        case ending_t::stopped:
            return "stopped";
        case ending_t::freed:
            return "freed";
    }
    return "";
}

}  // namespace tools
