#include "voices/sliding_voice.h"

#include <algorithm>
#include <utility>

namespace {

constexpr uint16_t slideChunkUnits = 2048;  // the grain of a ramp, at 44,100 Hz: 1024 frames, 23 ms
constexpr float lowestFrequency = 0.2f, highestFrequency = 10.0f;

bool IsSlideFrequency(float ratio) { return ratio >= lowestFrequency && ratio <= highestFrequency; }

struct ramp_t {
    uint32_t from, to;  // positions in the queue

    float At(uint32_t position, float start, float end) const {
        if (position < from) return start;
        if (position >= to) return end;
        const double part = static_cast<double>(position - from) / static_cast<double>(to - from);
        return static_cast<float>((double{end} - double{start}) * part + double{start});
    }
};

}  // namespace

SlidingVoice_t::SlidingVoice_t(Sound_t* sound, int32_t mode) : SimpleVoice_t(sound, mode) {
    mixFlags = prepareAtTop;
    mixChunk = slideChunkUnits;
}

bool SlidingVoice_t::PrepareFrame(uint32_t) {
    const uint32_t at = queueBase + position;
    if (frequencySlideActive) {
        SetFrequency(ramp_t{frequencySlideFrom, frequencySlideTo}.At(at, frequencyStart, frequencyEnd));
    }
    if (volumeSlideActive) {
        const ramp_t ramp{volumeSlideFrom, volumeSlideTo};
        SetVolume(ramp.At(at, leftStart, leftEnd), ramp.At(at, rightStart, rightEnd));
    }
    return true;
}

void SlidingVoice_t::SetFrequencySlide(uint32_t from, uint32_t to, float frequencyAtFrom,
                                       float frequencyAtTo) {
    if (!IsSlideFrequency(frequencyAtFrom) || !IsSlideFrequency(frequencyAtTo)) return;
    if (from > to) {
        std::swap(from, to);
        std::swap(frequencyAtFrom, frequencyAtTo);
    }
    frequencySlideFrom = from;
    frequencySlideTo = to;
    frequencyStart = frequencyAtFrom;
    frequencyEnd = frequencyAtTo;
    frequencySlideActive = true;
}

void SlidingVoice_t::ClearFrequencySlide() {
    frequencyStart = frequencyEnd = 1.0f;
    frequencySlideFrom = frequencySlideTo = 0;
    frequencySlideActive = false;
    SetFrequency(1.0f);
}

void SlidingVoice_t::SetVolumeSlide(uint32_t from, uint32_t to, float leftAtFrom, float leftAtTo,
                                    float rightAtFrom, float rightAtTo) {
    if (!(leftAtFrom >= 0.0f) || !(leftAtTo >= 0.0f)) return;
    if (!(rightAtFrom >= 0.0f) || !(rightAtTo >= 0.0f)) {
        rightAtFrom = leftAtFrom;
        rightAtTo = leftAtTo;
    }
    if (from > to) {
        std::swap(from, to);
        std::swap(leftAtFrom, leftAtTo);
        std::swap(rightAtFrom, rightAtTo);
    }
    volumeSlideFrom = from;
    volumeSlideTo = to;
    leftStart = std::min(leftAtFrom, 1.0f);
    leftEnd = std::min(leftAtTo, 1.0f);
    rightStart = std::min(rightAtFrom, 1.0f);
    rightEnd = std::min(rightAtTo, 1.0f);
    volumeSlideActive = true;
}

void SlidingVoice_t::ClearVolumeSlide() {
    leftStart = leftEnd = rightStart = rightEnd = 1.0f;
    volumeSlideFrom = volumeSlideTo = 0;
    volumeSlideActive = false;
    SetVolume(1.0f, -1.0f);
}
