// compressed_voice.h - the voice of a CompressedSound_t. Just before each mix step the frames that the step
// will read come into being; the pages behind go back to the sound one step after the voice has left them.
#pragma once

#include "compressed/compressed_sound.h"
#include "voices/mix_cost.h"
#include "voices/voice.h"

class CompressedVoice_t : public Voice_t {
  public:
    CompressedVoice_t(CompressedSound_t* sound, int32_t mode);
    ~CompressedVoice_t() override;

    bool OnStopPosition() override { return false; }
    bool PrepareFrame(uint32_t frames) override;
    void SetSound(Sound_t* sound, uint32_t newBase) override;
    void RecordMixCost(float cost) override { mixCosts.RaiseFor(this, cost); }
    // A jump decodes nothing. To a block's start it is exact at once; into the middle of a block the decoder
    // goes on from the state that it has, and is exact again from the next block on.
    void SetPos(uint32_t target) override;
    bool IsCompatibleSound(Sound_t* sound) override;
    void ReleaseSound() override;
    float GetMixCost() override { return mixCosts.CostFor(this); }

    CompressedSound_t* compressedSound;
    frame_window_t
        window;  // what the voice holds of the sound; decoded up to its end, which may lie past the position
    void* decoderState;  // made by the sound and given back to it

    static MixCostTable_t mixCosts;
};
