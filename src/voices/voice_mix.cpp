// voice_mix.cpp - the step that walks a voice over a stretch of the ring: cut at the end of the sound and at
// the stop position, prepare, mix, advance, then on through the queue or round the loop.
//
// 64-bit products throughout: positions in 1/1024 frames pass 32 bits after 4,194,303 frames.
#include <algorithm>

#include "core/mix_ring.h"
#include "kernels/mix_guard.h"
#include "kernels/mix_kernels.h"
#include "sounds/sound.h"
#include "voices/voice.h"

namespace {

constexpr float silenceThreshold = 0.1f;  // a voice with both channels below it is not heard

// Only a sound's own base volume can pass 1.0. At 16 a full-scale sample fills a slot of the ring.
constexpr float largestVolume = 16.0f;

// Fixed-point gain: 16.16 for 16-bit samples, 8.24 for 8-bit ones.
int32_t GainOf(float volume, bool is16Bit) {
    const double scaled =
        std::clamp(volume, -largestVolume, largestVolume) * (is16Bit ? 65536.0 : 16777216.0);
    return static_cast<int32_t>(scaled);
}

}  // namespace

bool Voice_t::Mix(uint32_t ringAt, uint32_t frames) {
    bool isSecondRound = false;      // the loop has come round within this call
    bool hasMovedThisRound = false;  // and this is whether anything was mixed since
    uint32_t wanted = frames;
    while (wanted > 0) {
        if ((mixFlags & prepareAtTop) && !PrepareFrame(wholePass)) return isPlaying = false;
        uint32_t count = CutAtEnd(wanted);
        const bool isStopHit = CutAtStop(count);
        if ((mixFlags & prepareExact) && !PrepareFrame(count)) return isPlaying = false;

        MixSamples(ringAt, count);
        ringAt = (ringAt + 2 * count) % AudioSystem::ringLength;
        Advance(count);
        wanted -= count;
        hasMovedThisRound |= count > 0;
        if (isStopHit && !OnStopPosition()) return isPlaying = false;

        if (IsNextStepInside()) break;
        if (nextQueued) {
            ListNode_t* node = nextQueued;
            nextQueued = node->next;
            SetSound(static_cast<Sound_t*>(node->data), queueBase + frameCount);
        } else if (isLooping) {
            // A loop that is shorter than one step never gets through the frames wanted.
            if (isSecondRound && !hasMovedThisRound) return isPlaying = false;
            isSecondRound = true;
            hasMovedThisRound = false;
            SetPos(0);
            if (voiceWatch) voiceWatch->OnLoop(*this);
        } else {
            break;
        }
    }
    return isPlaying = IsNextStepInside();
}

// How many of the wanted output frames the current sound still has.
uint32_t Voice_t::CutAtEnd(uint32_t wanted) const {
    if (position >= frameCount) return 0;
    const uint32_t left = frameCount - position;
    const uint64_t leftSteps = uint64_t{left} * 1024;
    uint64_t count = wanted;
    if (uint64_t{step} * count + fraction > leftSteps) count = (leftSteps - fraction) / step;
    // The plain path reads a source frame every rateDivisor output frames, whatever `step` has lost to its
    // division.
    const bool isPlain = (pathFlags & 7) == 0;
    if (isPlain && count / rateDivisor > left) count = uint64_t{left} * rateDivisor;
    return static_cast<uint32_t>(count);
}

// Whether the pass reaches the stop position; then it goes no further.
bool Voice_t::CutAtStop(uint32_t& count) const {
    if (stopPosition == noStopPosition) return false;
    const uint64_t absolute = uint64_t{queueBase} + position;
    const uint64_t end = absolute + ((uint64_t{step} * count + fraction) >> 10);
    if (stopPosition < absolute || stopPosition > end) return false;
    const uint64_t distance = (stopPosition - absolute) * 1024;
    count = distance > fraction && step > 0 ? static_cast<uint32_t>((distance - fraction) / step) : 0;
    return true;
}

void Voice_t::MixSamples(uint32_t ringAt, uint32_t count) const {
    const float left = leftVolume * baseVolume;
    const float right = rightVolume * baseVolume;
    if (count == 0 || (left < silenceThreshold && right < silenceThreshold)) return;
    const unsigned kernel = KernelIndex(is16Bit, isStereo);
    const uint8_t* source = samples + std::size_t{position} * bytesPerFrame;
    if ((pathFlags & 7) == 0) {
        MixPlainGuarded(kernel, ringAt, source, count / rateDivisor, static_cast<int32_t>(rateDivisor));
    } else {
        MixGainGuarded(kernel, ringAt, source, count, GainOf(left, is16Bit), GainOf(right, is16Bit), step,
                       fraction);
    }
}

uint32_t Voice_t::PassEnd(uint32_t frames) const {
    uint64_t end = position + ((uint64_t{step} * frames + fraction) >> 10);
    if (frames > 0) {
        const bool isPlain = (pathFlags & 7) == 0;
        const uint64_t lastRead =
            isPlain ? (frames - 1) / rateDivisor : (uint64_t{step} * (frames - 1) + fraction) >> 10;
        end = std::max(end, position + lastRead + 1);
    }
    return static_cast<uint32_t>(std::min<uint64_t>(end, frameCount));
}

void Voice_t::Advance(uint32_t count) {
    const uint64_t moved = uint64_t{count} * step + fraction;
    position += static_cast<uint32_t>(moved >> 10);
    fraction = static_cast<uint16_t>(moved & 1023);
}

// False: one step further the sound is at its end.
bool Voice_t::IsNextStepInside() const { return ((uint64_t{fraction} + step) >> 10) + position < frameCount; }
