// compressed_stream_voice.h - the voice of a CompressedStreamSound_t. It holds file pages from its position
// to a look-ahead in front of it, as StreamVoice_t does, and a window of decoded pages at the position
// itself, as CompressedVoice_t does.
#pragma once

#include "streaming/compressed_stream_sound.h"
#include "streaming/page_holds.h"
#include "voices/mix_cost.h"
#include "voices/voice.h"

class CompressedStreamVoice_t : public Voice_t {
  public:
    CompressedStreamVoice_t(CompressedStreamSound_t* sound, int32_t mode);
    ~CompressedStreamVoice_t() override;

    bool OnStopPosition() override { return false; }
    bool PrepareFrame(uint32_t frames) override;
    void SetSound(Sound_t* sound, uint32_t newBase) override;
    void RecordMixCost(float cost) override { mixCosts.RaiseFor(this, cost); }
    void SetPos(uint32_t target) override;
    bool IsCompatibleSound(Sound_t* sound) override;
    void QueueSound(Sound_t* sound) override;
    void ReleaseSound() override;
    float GetMixCost() override { return mixCosts.CostFor(this); }

    CompressedStreamSound_t* streamSound;
    void* decoderState = nullptr;  // made by the sound and given back to it
    uint32_t lookAheadBytes;       // of compressed data; what the whole queue has, if that is less
    frame_window_t window;         // decoded frames that the voice holds
    PageHolds_t holds;             // and pages of its file

    static MixCostTable_t mixCosts;

  private:
    bool HoldUpTo(uint32_t end);

    bool isMoving = false;  // inside SetPos: holds follow once, at its end
};
