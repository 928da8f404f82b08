// channel_fold.cpp - weights by channel position.
#include "channel_fold.h"

#include <sndfile.h>

#include <algorithm>
#include <numeric>

namespace tools {

namespace {

struct weights_t {
    double left, right;
};

constexpr double besides = 0.70710678118654752440;  // -3 dB

weights_t WeightsOf(int position) {
    switch (position) {
        case SF_CHANNEL_MAP_LEFT:
        case SF_CHANNEL_MAP_FRONT_LEFT:
            return {1.0, 0.0};
        case SF_CHANNEL_MAP_RIGHT:
        case SF_CHANNEL_MAP_FRONT_RIGHT:
            return {0.0, 1.0};
        case SF_CHANNEL_MAP_REAR_LEFT:
        case SF_CHANNEL_MAP_SIDE_LEFT:
        case SF_CHANNEL_MAP_FRONT_LEFT_OF_CENTER:
        case SF_CHANNEL_MAP_TOP_FRONT_LEFT:
        case SF_CHANNEL_MAP_TOP_REAR_LEFT:
            return {besides, 0.0};
        case SF_CHANNEL_MAP_REAR_RIGHT:
        case SF_CHANNEL_MAP_SIDE_RIGHT:
        case SF_CHANNEL_MAP_FRONT_RIGHT_OF_CENTER:
        case SF_CHANNEL_MAP_TOP_FRONT_RIGHT:
        case SF_CHANNEL_MAP_TOP_REAR_RIGHT:
            return {0.0, besides};
        default:
            return {besides, besides};
    }
}

std::vector<int> UsualMap(uint32_t channels) {
    constexpr int L = SF_CHANNEL_MAP_LEFT, R = SF_CHANNEL_MAP_RIGHT, C = SF_CHANNEL_MAP_CENTER;
    constexpr int LFE = SF_CHANNEL_MAP_LFE, BC = SF_CHANNEL_MAP_REAR_CENTER;
    constexpr int BL = SF_CHANNEL_MAP_REAR_LEFT, BR = SF_CHANNEL_MAP_REAR_RIGHT;
    constexpr int SL = SF_CHANNEL_MAP_SIDE_LEFT, SR = SF_CHANNEL_MAP_SIDE_RIGHT;
    switch (channels) {
        case 3:
            return {L, R, C};
        case 4:
            return {L, R, BL, BR};
        case 5:
            return {L, R, C, BL, BR};
        case 6:
            return {L, R, C, LFE, BL, BR};
        case 7:
            return {L, R, C, LFE, BC, SL, SR};
        case 8:
            return {L, R, C, LFE, BL, BR, SL, SR};
        default:
            break;
    }
    std::vector<int> byTurns(channels);
    for (uint32_t i = 0; i < channels; ++i) byTurns[i] = i % 2 == 0 ? L : R;
    return byTurns;
}

}  // namespace

ChannelFold_t::ChannelFold_t(uint32_t channelCount, std::vector<int> channelMap, bool wantMono)
    : channels(channelCount), toMono(wantMono) {
    if (toMono || channels <= 2) return;
    if (channelMap.size() != channels) channelMap = UsualMap(channels);
    for (const int position : channelMap) {
        leftWeights.push_back(WeightsOf(position).left);
        rightWeights.push_back(WeightsOf(position).right);
    }
    const double sum = std::max(std::accumulate(leftWeights.begin(), leftWeights.end(), 0.0),
                                std::accumulate(rightWeights.begin(), rightWeights.end(), 0.0));
    for (double& weight : leftWeights) weight /= sum;
    for (double& weight : rightWeights) weight /= sum;
}

void ChannelFold_t::Apply(std::vector<double>& block) const {
    if (OutputChannels() == channels) return;
    const size_t frames = block.size() / channels;
    for (size_t frame = 0; frame < frames; ++frame) {
        const double* in = &block[frame * channels];
        if (toMono) {
            block[frame] = std::accumulate(in, in + channels, 0.0) / channels;
            continue;
        }
        const double left = std::inner_product(in, in + channels, leftWeights.begin(), 0.0);
        const double right = std::inner_product(in, in + channels, rightWeights.begin(), 0.0);
        block[2 * frame] = left;
        block[2 * frame + 1] = right;
    }
    block.resize(frames * OutputChannels());
}

}  // namespace tools
