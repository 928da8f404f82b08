// channel_fold.h - brings the channels of a source down to the one or two that a sound can have.
//
// Mono is the average of all channels. Stereo from more than two: what lies left or right goes there, what
// lies in the middle (front, rear and top centre, low frequencies) goes to both; all but the front pair with
// a weight of 1 / sqrt(2). The weights are then divided by the larger of their two sums, so a full-scale
// source cannot clip. The order of the channels is what the file says; without that
//   3: L R C   4: L R BL BR   5: L R C BL BR   6: L R C LFE BL BR   7: L R C LFE BC SL SR   8: L R C LFE BL
//   BR SL SR
// and beyond eight they go left and right by turns.
#pragma once

#include <cstdint>
#include <vector>

namespace tools {

class ChannelFold_t {
  public:
    // channelMap: SF_CHANNEL_MAP_... of each channel, or empty.
    ChannelFold_t(uint32_t channels, std::vector<int> channelMap, bool toMono);

    uint32_t OutputChannels() const { return toMono || channels == 1 ? 1 : 2; }

    // In place: whole interleaved frames in, whole interleaved frames out. One or two channels that stay what
    // they are come through untouched.
    void Apply(std::vector<double>& block) const;

  private:
    uint32_t channels;
    bool toMono;
    std::vector<double> leftWeights, rightWeights;  // for more than two channels to stereo
};

}  // namespace tools
