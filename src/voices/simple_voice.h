// simple_voice.h - the voice of a sound that lies whole in memory: no hook, no state of its own.
#pragma once

#include "voices/mix_cost.h"
#include "voices/voice.h"

class SimpleVoice_t : public Voice_t {
  public:
    SimpleVoice_t(Sound_t* sound, int32_t mode) : Voice_t(sound, mode) {}

    bool OnStopPosition() override { return false; }
    bool PrepareFrame(uint32_t) override { return true; }
    void RecordMixCost(float cost) override { mixCosts.RaiseFor(this, cost); }
    bool IsCompatibleSound(Sound_t* sound) override;
    void ReleaseSound() override;
    float GetMixCost() override { return mixCosts.CostFor(this); }

    static MixCostTable_t mixCosts;
};
