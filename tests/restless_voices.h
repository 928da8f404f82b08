// restless_voices.h - voices that anything may happen to at any time.
#pragma once

#include <iterator>
#include <random>
#include <utility>
#include <vector>

#include "sounds/sound.h"
#include "voices/sliding_voice.h"

class RestlessVoices_t {
  public:
    explicit RestlessVoices_t(uint32_t seed) : random(seed) {}

    uint32_t Below(std::size_t limit) { return static_cast<uint32_t>(random() % limit); }

    // Does something to one of them, or with one of the sounds.
    void Disturb(const std::vector<Sound_t*>& sounds) {
        Voice_t*& voice = voices[Below(std::size(voices))];
        Sound_t* sound = sounds[Below(sounds.size())];
        const int32_t mode = Below(3) == 0 ? 2 : static_cast<int32_t>(Below(4));
        const bool isSliding = sound->IsASortOf("SimpleSound") && Below(2) == 0;
        if (!voice) voice = isSliding ? new SlidingVoice_t(sound, mode) : sound->CreateCompatibleVoice(mode);
        switch (Below(13)) {
            case 0:
                return voice->Stop();
            case 1:
            case 2:
                return voice->SetPos(Below(voice->totalLength + 1));
            case 3: {  // one after the other, as the order of arguments is the compiler's
                const float left = static_cast<float>(Below(10)) / 9;
                return voice->SetVolume(left, static_cast<float>(Below(10)) / 9);
            }
            case 4:
                return voice->SetFrequency(static_cast<float>(Below(80)) / 10);
            case 5:
                voice->isLooping = !voice->isLooping;
                return;
            case 6:
            case 7:
                return voice->IsCompatibleSound(sound) ? voice->QueueSound(sound) : voice->Play();
            case 8:
                delete std::exchange(voice, nullptr);
                return;
            case 9:
                return Below(4) ? voice->Play() : voice->ReleaseSound();
            case 10:
                return sound->PlayOneShot();
            case 11:
                return Slide(dynamic_cast<SlidingVoice_t*>(voice));
            default:
                return voice->Play();
        }
    }

    void DeleteAll() {
        for (Voice_t*& voice : voices) delete std::exchange(voice, nullptr);
    }

  private:
    void Slide(SlidingVoice_t* voice) {
        if (!voice) return;
        const uint32_t from = Below(voice->totalLength + 1), to = Below(voice->totalLength + 1);
        const float one = static_cast<float>(Below(1001)) / 1000,
                    other = static_cast<float>(Below(1001)) / 1000;
        voice->SetFrequencySlide(from, to, 0.2f + one * 6.0f, 0.2f + other * 6.0f);
        voice->SetVolumeSlide(from, to, one, other, other, one);
    }

    std::mt19937 random;
    Voice_t* voices[24] = {};
};
