// play_ring.cpp - every change of state first takes what has come due, so that between two such moments the
// buffer either played throughout or stood throughout.
#include "platform/play_ring.h"

#include <algorithm>
#include <cstring>

namespace platform {
namespace {

// A writer may stand this far behind a full round ahead of the write cursor, and no further: what seems to
// lie beyond was written behind the cursor, too late.
constexpr uint32_t roundMarginBytes = 4096;

// An excess is worked off in about this time: long enough that the steps in which devices report their
// progress are not heard of, short enough for any drift of two clocks.
constexpr double steerSeconds = 0.5;
constexpr double steerLimit = 0.05;  // of the rate

}  // namespace

uint64_t PlayRing_t::ClockFrames(int64_t nowNs) {
    if (!isRunning) return clockFrames;
    const auto elapsedNs = static_cast<double>(std::max<int64_t>(nowNs - clockBaseNs, 0));
    const auto frames = static_cast<uint64_t>(clockBaseFrames + elapsedNs * 1e-9 * clockRateHz);
    clockFrames = std::max(frames, clockFrames);
    return clockFrames;
}

uint64_t PlayRing_t::Position(int64_t nowNs) {
    return takenPosition + (isPlaying ? ClockFrames(nowNs) - takenFrames : 0);
}

void PlayRing_t::Play(int64_t nowNs) {
    TakeDueFrames(nowNs);
    if (!isRunning) clockBaseNs = nowNs;
    isRunning = isPlaying = true;
}

void PlayRing_t::Stop(int64_t nowNs) {
    TakeDueFrames(nowNs);
    isPlaying = false;
}

uint32_t PlayRing_t::WriteCursor(int64_t nowNs) {
    return static_cast<uint32_t>(Position(nowNs) % LoopFrames()) * outputFrameBytes;
}

uint32_t PlayRing_t::PlayCursor(int64_t nowNs) {
    const uint64_t position = Position(nowNs);
    // More than a round behind could not be told from less.
    const uint64_t latency = std::min<uint64_t>({latencyFrames, LoopFrames() - 1, position});
    playPosition = std::max(playPosition, position - latency);
    return static_cast<uint32_t>(playPosition % LoopFrames()) * outputFrameBytes;
}

void PlayRing_t::Written(int64_t nowNs, uint32_t offset, uint32_t bytes) {
    const auto loopBytes = static_cast<uint32_t>(memory.size());
    const uint32_t end = (offset + bytes) % loopBytes;
    const uint32_t aheadBytes = (end + loopBytes - WriteCursor(nowNs)) % loopBytes;
    const uint32_t most = loopBytes - std::min(roundMarginBytes, loopBytes / 2);
    endPosition = Position(nowNs) + (aheadBytes <= most ? aheadBytes / outputFrameBytes : 0);
}

void PlayRing_t::TakeDueFrames(int64_t nowNs) {
    const uint64_t now = ClockFrames(nowNs);
    const uint64_t due = now - takenFrames;
    const uint32_t kept = static_cast<uint32_t>(std::min<uint64_t>(due, keptFrames));
    if (pendingFrames + kept > keptFrames) {
        const uint32_t dropped = pendingFrames + kept - keptFrames;
        pendingFrames -= dropped;
        std::memmove(pending.data(), pending.data() + std::size_t{dropped} * outputFrameBytes,
                     std::size_t{pendingFrames} * outputFrameBytes);
    }
    Append(takenPosition + (due - kept), kept);
    takenFrames = now;
    if (isPlaying) takenPosition += due;
}

// Silence where the buffer stood, where nothing was written and where it has been written anew since.
void PlayRing_t::Append(uint64_t position, uint32_t frames) {
    uint8_t* out = pending.data() + std::size_t{pendingFrames} * outputFrameBytes;
    std::memset(out, 0, std::size_t{frames} * outputFrameBytes);
    pendingFrames += frames;
    if (!isPlaying) return;
    const uint64_t first = std::max(position, endPosition > LoopFrames() ? endPosition - LoopFrames() : 0);
    const uint64_t end = std::min(position + frames, endPosition);
    for (uint64_t from = first; from < end;) {
        const auto index = static_cast<uint32_t>(from % LoopFrames());
        const auto run = static_cast<uint32_t>(std::min<uint64_t>(end - from, LoopFrames() - index));
        std::memcpy(out + (from - position) * outputFrameBytes,
                    memory.data() + std::size_t{index} * outputFrameBytes,
                    std::size_t{run} * outputFrameBytes);
        from += run;
    }
}

uint32_t PlayRing_t::Collect(int64_t nowNs, uint8_t* out, uint32_t maxFrames) {
    TakeDueFrames(nowNs);
    const uint32_t frames = std::min(pendingFrames, maxFrames);
    std::memcpy(out, pending.data() + std::size_t{pendingFrames - frames} * outputFrameBytes,
                std::size_t{frames} * outputFrameBytes);
    pendingFrames = 0;
    return frames;
}

void PlayRing_t::Steer(int64_t nowNs, double excessFrames) {
    if (!isRunning) return;
    const auto elapsedNs = static_cast<double>(std::max<int64_t>(nowNs - clockBaseNs, 0));
    clockBaseFrames += elapsedNs * 1e-9 * clockRateHz;
    clockBaseNs = std::max(nowNs, clockBaseNs);
    const double change = -excessFrames / (steerSeconds * outputRateHz);
    clockRateHz = outputRateHz * (1.0 + std::clamp(change, -steerLimit, steerLimit));
}

}  // namespace platform
