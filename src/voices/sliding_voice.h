// sliding_voice.h - a simple voice with two ramps that follow its position: frequency, and the volume of each
// channel.
//
// Ramps are tied to the queue position, not to time: a voice that loops goes back along them. They stay
// active past their end, with the end value, until cleared. The values move in stairs, once a pass.
#pragma once

#include "voices/simple_voice.h"

class SlidingVoice_t : public SimpleVoice_t {
  public:
    SlidingVoice_t(Sound_t* sound, int32_t mode);

    bool PrepareFrame(uint32_t frames) override;
    void RecordMixCost(float cost) override { mixCosts.RaiseFor(this, cost); }
    float GetMixCost() override { return mixCosts.CostFor(this); }

    // Positions in the whole queue; frequencies from 0.2 to 10.0, else the call is ignored. From past to:
    // exchanged. The voice ignores 8.0 and above while the ramp is there, and stays at the last frequency
    // that it took.
    void SetFrequencySlide(uint32_t from, uint32_t to, float frequencyAtFrom, float frequencyAtTo);
    void ClearFrequencySlide();
    // A negative left volume: ignored. A negative right one: the right channel follows the left.
    void SetVolumeSlide(uint32_t from, uint32_t to, float leftAtFrom, float leftAtTo, float rightAtFrom,
                        float rightAtTo);
    void ClearVolumeSlide();

    float frequencyStart = 1.0f;
    float frequencyEnd = 1.0f;
    uint32_t frequencySlideFrom = 0;
    uint32_t frequencySlideTo = 0;
    float leftStart = 1.0f;
    float rightStart = 1.0f;
    float leftEnd = 1.0f;
    float rightEnd = 1.0f;
    uint32_t volumeSlideFrom = 0;
    uint32_t volumeSlideTo = 0;
    bool volumeSlideActive = false;
    bool frequencySlideActive = false;

    static MixCostTable_t mixCosts;
};
