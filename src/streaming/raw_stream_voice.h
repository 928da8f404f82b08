// raw_stream_voice.h - the one voice of a RawStreamSound_t. It stops where the data end, notes where, and is
// started again by the sound; nobody else moves it.
#pragma once

#include "streaming/raw_stream_sound.h"
#include "voices/mix_cost.h"
#include "voices/voice.h"

class RawStreamVoice_t : public Voice_t {
  public:
    RawStreamVoice_t(RawStreamSound_t* sound, int32_t mode) : Voice_t(sound, mode), rawSound(sound) {}
    ~RawStreamVoice_t() override;

    bool OnStopPosition() override;
    bool PrepareFrame(uint32_t) override { return true; }
    void SetSound(Sound_t*, uint32_t) override {}
    void RecordMixCost(float cost) override { mixCosts.RaiseFor(this, cost); }
    void SetPos(uint32_t) override {}
    bool IsCompatibleSound(Sound_t*) override { return false; }
    void QueueSound(Sound_t*) override {}
    void ReleaseSound() override {}
    float GetMixCost() override { return mixCosts.CostFor(this); }

    RawStreamSound_t* rawSound;

    static MixCostTable_t mixCosts;
};
