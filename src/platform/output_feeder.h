// output_feeder.h - keeps a sound device fed a little ahead from the buffer that is heard, and opens it again
// when it is lost.
//
// The lead is what the device holds when it has just been fed. It starts small, doubles when the device runs
// dry or moves in steps longer than it, and never shrinks. Time does not wait for the device: while there is
// none, or it does not move, the buffer's cursors go on by the clock and what comes due is gone.
//
//   closed --open--> empty --silence up to the lead--> fed --ran dry, overfull--> empty
//                      \------- error that recovery does not clear, no progress -------> closed
#pragma once

#include <cstdint>
#include <mutex>
#include <vector>

#include "platform/output_status.h"
#include "platform/pcm_stream.h"
#include "platform/play_ring.h"

namespace platform {

// The buffer that is heard, if there is one, and the lock of all rings. Held for a copy, never across a call
// of the device.
struct heard_ring_t {
    std::mutex mutex;
    PlayRing_t* ring = nullptr;
};

class OutputFeeder_t {
  public:
    static constexpr uint32_t leadLimitFrames = outputRateHz * 160 / 1000;

    // leadFrames: what to start with.
    OutputFeeder_t(heard_ring_t& heardRing, PcmStream_t& device, uint32_t leadFrames,
                   thread_priority_t priority);

    // The first opening: false, and why, if there is no such device. Without it Step opens.
    [[nodiscard]] bool Open(int64_t nowNs);

    // Does what is to do at this time, and answers how many nanoseconds there are until the next time; the
    // time that the call itself took is part of them.
    int64_t Step(int64_t nowNs);

    const output_status_t& Status() const { return status; }

  private:
    int64_t LeadNs() const;
    int64_t StepNs() const;
    int64_t Feed(int64_t nowNs);
    int64_t Recover(int64_t nowNs, int error);
    int64_t Restart(int64_t nowNs);
    int64_t Lose(int64_t nowNs, const char* reason);
    uint32_t CollectInto(uint8_t* out, int64_t nowNs);
    void Steer(int64_t nowNs, double excessFrames, uint32_t latencyFrames);
    void GrowLead(const char* reason);
    void NoteUnderrun();
    void BeginEmpty(int64_t nowNs);

    heard_ring_t& heard;
    PcmStream_t& pcm;
    output_status_t status;
    uint32_t leadLimit = leadLimitFrames;  // the device's buffer may be smaller
    std::vector<uint8_t> staging;          // room for a whole lead

    bool isFed = false;           // the lead has been written since the device was empty
    int64_t nextOpenNs = 0;       // not before
    uint64_t handedFrames = 0;    // since it was empty
    uint64_t consumedFrames = 0;  // of these, as far as is known
    int64_t progressNs = 0;       // when consumedFrames last grew
    int64_t notOverfullNs = 0;    // when it last held about its lead
    uint32_t recoveries = 0;      // since progressNs
};

}  // namespace platform
