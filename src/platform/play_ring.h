// play_ring.h - a looping buffer that is played at the pace of a clock, and what has been taken from it.
//
// The clock counts the frames that should have been handed to the sound device by now. It runs smoothly
// whatever the device does: slightly faster or slower where the device drifts, at its nominal rate while
// there is none. The write cursor follows it, so it never jumps by more than the time between two looks at
// it, and what is written past it is heard. The feeder collects up to the cursor each time it wakes; while
// the buffer is stopped it collects silence, so the device is never drained and nothing that was taken is
// lost.
//
// Positions inside are frames since the beginning (they never wrap), cursors outside are byte offsets.
// No lock of its own: its owner's lock is held around every call. Times are nanoseconds of one steady clock.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace platform {

constexpr uint32_t outputRateHz = 44100;
constexpr uint32_t outputFrameBytes = 4;  // 16-bit stereo

class PlayRing_t {
  public:
    // The most frames that are kept for a feeder that is late; what is older is gone.
    static constexpr uint32_t keptFrames = 8192;  // 186 ms

    // The memory outlives the ring; a whole number of frames.
    explicit PlayRing_t(std::span<uint8_t> loopMemory) : memory(loopMemory) {}

    void Play(int64_t nowNs);  // the first call starts the clock
    void Stop(int64_t nowNs);

    // Neither cursor ever goes back.
    uint32_t WriteCursor(int64_t nowNs);
    // What is being heard: the write cursor less the latency below it.
    uint32_t PlayCursor(int64_t nowNs);

    // Tells that these bytes have been written. The last byte of the latest write is the end of what there is
    // to play: past it is silence, never what the memory held a round earlier.
    void Written(int64_t nowNs, uint32_t offset, uint32_t bytes);

    // The frames that have come due since the last call, silence for those in which the buffer stood: of more
    // than maxFrames the newest. Returns how many; `out` has room for maxFrames.
    uint32_t Collect(int64_t nowNs, uint8_t* out, uint32_t maxFrames);

    // The device holds this many frames more than it should (less, if negative): the clock goes slower or
    // faster by a little until it does not. 0: the nominal rate.
    void Steer(int64_t nowNs, double excessFrames);

    // Frames between the write cursor and the loudspeaker.
    void SetLatency(uint32_t frames) { latencyFrames = frames; }

  private:
    uint64_t ClockFrames(int64_t nowNs);
    uint64_t Position(int64_t nowNs);
    void TakeDueFrames(int64_t nowNs);
    void Append(uint64_t position, uint32_t frames);
    uint32_t LoopFrames() const { return static_cast<uint32_t>(memory.size()) / outputFrameBytes; }

    std::span<uint8_t> memory;
    bool isRunning = false;  // the clock
    bool isPlaying = false;
    double clockBaseFrames = 0;  // what the clock showed at clockBaseNs
    int64_t clockBaseNs = 0;
    double clockRateHz = outputRateHz;
    uint64_t clockFrames = 0;  // the latest answer: whoever steers comes with an older time than who looks

    uint64_t takenFrames = 0;    // of the clock
    uint64_t takenPosition = 0;  // of the buffer; the two differ by the times in which it stood
    uint64_t endPosition = 0;    // first frame that has not been written
    uint64_t playPosition = 0;   // the latest answer of PlayCursor
    uint32_t latencyFrames = 0;

    uint32_t pendingFrames = 0;  // taken, not collected
    std::array<uint8_t, std::size_t{keptFrames} * outputFrameBytes> pending{};
};

}  // namespace platform
