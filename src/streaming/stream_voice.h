// stream_voice.h - the voice of a StreamSound_t. It holds the pages from its position to a look-ahead in
// front of it, which runs on past the end of the current sound into the queue and round to its head, so that
// a loop or the next sound finds its first pages in memory.
#pragma once

#include "streaming/page_holds.h"
#include "streaming/stream_sound.h"
#include "voices/mix_cost.h"
#include "voices/voice.h"

class StreamVoice_t : public Voice_t {
  public:
    // Posts the first look-ahead at once, before any Play.
    StreamVoice_t(StreamSound_t* sound, int32_t mode);
    ~StreamVoice_t() override;

    bool OnStopPosition() override { return false; }
    bool PrepareFrame(uint32_t frames) override;
    void SetSound(Sound_t* sound, uint32_t newBase) override;
    void RecordMixCost(float cost) override { mixCosts.RaiseFor(this, cost); }
    void SetPos(uint32_t target) override;
    bool IsCompatibleSound(Sound_t* sound) override;
    void QueueSound(Sound_t* sound) override;
    void ReleaseSound() override;
    float GetMixCost() override { return mixCosts.CostFor(this); }

    StreamSound_t* streamSound;
    uint32_t windowStart = 0;      // the frame from which the voice holds pages
    uint32_t lookAheadFrames = 0;  // of the current sound; what the whole queue has, if that is less
    PageHolds_t holds;

    static MixCostTable_t mixCosts;

  private:
    void GrowLookAhead(const StreamSound_t& sound);
    bool HoldUpTo(uint64_t end);

    uint32_t lookAheadBytes = 0;  // the same distance, which no change of format rounds off
    bool isMoving = false;        // inside SetPos: holds follow once, at its end
};
