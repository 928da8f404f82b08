// voice_model.h - how a voice walks over the ring, one output frame at a time, with exact sums that are
// rounded where a kernel stores.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "sounds/sound.h"
#include "voices/voice.h"

constexpr int32_t bothSlots = 256 * 0x80000;  // silence of a slot, in 1/256 sample steps

// All entries in 1/256 of a sample step of the low slot; the high slot counts 2^32 of them.
struct model_ring_t {
    explicit model_ring_t(uint64_t frames) : sums(frames, int64_t{bothSlots} << 32 | bothSlots) {}

    std::vector<int64_t> sums;
    std::vector<std::size_t> touched{};

    void Add(uint64_t frame, unsigned channel, int32_t sample, int32_t gain) {
        touched.push_back(frame / 2 * 2 + channel);
        sums[touched.back()] += int64_t{sample} * gain * (frame % 2 == 0 ? 1 : int64_t{1} << 32);
    }

    // What storing an entry as a double does.
    void Store() {
        for (const auto entry : touched) sums[entry] = static_cast<int64_t>(static_cast<double>(sums[entry]));
        touched.clear();
    }
};

// The rules of a voice, in the plainest words. What its setters leave behind is taken from the voice.
struct model_t {
    explicit model_t(const Sound_t* sound) : queue{sound} {}
    virtual ~model_t() = default;

    virtual void Prepare() {}

    std::vector<const Sound_t*> queue;
    std::size_t current = 0;
    uint64_t base = 0, position = 0, fraction = 0, step = 0;
    float left = 1.0f, right = 1.0f, baseVolume = 1.0f;
    bool isFrequencySet = false, isLooping = false;
    uint32_t stop = noStopPosition, mixFlags = prepareNever;

    void TakeSettings(const Voice_t& voice) {
        step = voice.step;
        left = voice.leftVolume;
        right = voice.rightVolume;
        baseVolume = voice.baseVolume;
        isFrequencySet = voice.pathFlags & pathFrequency;
        isLooping = voice.isLooping;
        stop = voice.stopPosition;
        mixFlags = voice.mixFlags;
    }

    const Sound_t& Now() const { return *queue[current]; }
    bool IsPlain() const {
        return left * baseVolume == 1.0f && right * baseVolume == 1.0f && left == right && !isFrequencySet;
    }
    bool IsInside() const { return position + (fraction + step) / 1024 < Now().frameCount; }

    void Attach(std::size_t index, uint64_t newBase) {
        step *= Now().rateDivisor;
        current = index;
        base = newBase;
        position = fraction = 0;
        baseVolume = Now().baseVolume;
        if (Now().lockFlags & lockFrequency) {
            step = 1024;
            isFrequencySet = false;
        }
        step /= Now().rateDivisor;
        if (Now().lockFlags & lockVolume) left = right = 1.0f;
        if (Now().lockFlags & lockPan) right = left;
    }

    void SetPos(uint64_t target) {
        if (target < base || target > base + Now().frameCount) {
            std::size_t index = 0;
            uint64_t start = 0;
            while (start + queue[index]->frameCount <= target) start += queue[index++]->frameCount;
            Attach(index, start);
        }
        position = target - base;
        fraction = 0;
    }

    // How many of the wanted frames this pass has.
    uint64_t Length(uint64_t wanted, bool& isStopHit) const {
        const uint64_t framesLeft = Now().frameCount - position, divisor = Now().rateDivisor;
        uint64_t count = 0;
        while (count < wanted && fraction + (count + 1) * step <= framesLeft * 1024) ++count;
        if (IsPlain() && count / divisor > framesLeft) count = framesLeft * divisor;
        const uint64_t absolute = base + position, reached = absolute + (fraction + count * step) / 1024;
        isStopHit = stop != noStopPosition && stop >= absolute && stop <= reached;
        if (!isStopHit) return count;
        count = 0;
        while (fraction + (count + 1) * step <= (stop - absolute) * 1024) ++count;
        return count;
    }

    int32_t SampleAt(uint64_t frame, unsigned channel) const {
        const Sound_t& s = Now();
        const uint64_t index = s.isStereo ? frame * 2 + channel : frame;
        return s.is16Bit ? s.samples[2 * index] + 256 * s.samples[2 * index + 1] - 0x8000
                         : 256 * s.samples[index] - 0x8000;
    }

    void MixPass(model_ring_t& ring, uint64_t at, uint64_t count) const {
        const float volumes[2] = {left * baseVolume, right * baseVolume};
        if (volumes[0] < 0.1f && volumes[1] < 0.1f) return;
        const uint64_t divisor = Now().rateDivisor;
        if (IsPlain() && divisor != 1 && divisor != 2 && divisor != 4) return;
        if (IsPlain()) count -= count % divisor;
        if (IsPlain() && divisor != 1) at -= at % 2;
        for (uint64_t j = 0; j < count; ++j) {
            const uint64_t frame = position + (IsPlain() ? j / divisor : (fraction + j * step) / 1024);
            for (unsigned channel = 0; channel < 2; ++channel) {
                const auto gain = static_cast<int32_t>(std::floor(volumes[channel] * 256.0));
                ring.Add(at + j, channel, SampleAt(frame, channel), gain);
            }
        }
        ring.Store();
    }

    bool Mix(model_ring_t& ring, uint64_t at, uint64_t wanted) {
        bool hasLooped = false, hasMoved = false, isStopHit = false;
        while (wanted > 0) {
            if (mixFlags == prepareAtTop) Prepare();
            const uint64_t count = Length(wanted, isStopHit);
            MixPass(ring, at, count);
            at = (at + count) % ring.sums.size();
            position += (fraction + count * step) / 1024;
            fraction = (fraction + count * step) % 1024;
            wanted -= count;
            hasMoved = hasMoved || count > 0;
            if (isStopHit) return false;
            if (IsInside()) break;
            if (current + 1 < queue.size()) {
                Attach(current + 1, base + Now().frameCount);
            } else if (isLooping) {
                if (hasLooped && !hasMoved) return false;
                hasLooped = true;
                hasMoved = false;
                SetPos(0);
            } else {
                break;
            }
        }
        return IsInside();
    }
};
