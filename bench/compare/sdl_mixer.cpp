// sdl_mixer.cpp - SDL_mixer on SDL's disk driver without a delay: its thread mixes as fast as it can. Its
// time is that of this thread, from one call-back behind the mix to a later one, writing to /dev/null
// included.
#include "mixers.h"

#ifdef RINGMIX_BENCH_SDL

#include <SDL.h>
#include <SDL_mixer.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

namespace {

struct slice_t {
    uint32_t warmUpTicks, ticks;  // call-backs
    uint32_t callbacks = 0;
    double startNs = 0.0, spentNs = 0.0;
    bool isHeard = false;
    std::atomic<bool> isDone{false};
};

void BehindMix(void* user, Uint8* bytes, int count) {
    auto& slice = *static_cast<slice_t*>(user);
    if (slice.isDone) return;
    if (slice.callbacks == slice.warmUpTicks) slice.startNs = ThreadNs();
    if (slice.callbacks == slice.warmUpTicks + slice.ticks) {
        slice.spentNs = ThreadNs() - slice.startNs;
        for (int i = 0; i < count; ++i) slice.isHeard |= bytes[i] != 0;
        slice.isDone = true;
    }
    ++slice.callbacks;
}

struct first_sound_t {
    std::atomic<double> atNs{0.0};
};

void NoteFirstSound(void* user, Uint8* bytes, int count) {
    auto& first = *static_cast<first_sound_t*>(user);
    if (first.atNs == 0.0 && std::any_of(bytes, bytes + count, [](Uint8 byte) { return byte != 0; }))
        first.atNs = WallNs();
}

// Its thread comes to it sooner or later; if it does not, there is no figure.
template <typename Condition>
void WaitFor(Condition isMet) {
    constexpr double mostNs = 60e9;
    for (const double start = WallNs(); !isMet() && WallNs() - start < mostNs;)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

class SdlMixer_t final : public Mixer_t {
  public:
    SdlMixer_t() : Mixer_t("sdl_mixer") {
        setenv("SDL_AUDIODRIVER", "disk", 1);
        setenv("SDL_DISKAUDIOFILE", "/dev/null", 1);
        setenv("SDL_DISKAUDIODELAY", "0", 1);
        SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
        SDL_LogSetOutputFunction([](void*, int, SDL_LogPriority, const char*) {},
                                 nullptr);  // the driver warns
        isOpen = SDL_Init(SDL_INIT_AUDIO) == 0;
    }
    ~SdlMixer_t() override { SDL_Quit(); }

    // It has no pitch.
    bool Takes(const mix_case_t& mixCase) const override {
        return isOpen && mixCase.IsPlainStereo() && mixCase.pitch == 1.0f;
    }

    double RunSlice(const mix_case_t& mixCase, unsigned voices, uint32_t ticks) override {
        if (Mix_OpenAudio(44100, AUDIO_S16SYS, 2, framesPerTick) != 0) return -1.0;
        Mix_AllocateChannels(static_cast<int>(voices));
        std::vector<Mix_Chunk*> chunks;
        for (unsigned i = 0; i < voices; ++i) {
            auto* bytes = reinterpret_cast<Uint8*>(const_cast<int16_t*>(Noise(i).data()));
            chunks.push_back(Mix_QuickLoad_RAW(bytes, soundFrames * 4));
            Mix_PlayChannel(static_cast<int>(i), chunks.back(), -1);
            if (mixCase.left == 1.0f && mixCase.right == 1.0f) continue;
            Mix_Volume(static_cast<int>(i), MIX_MAX_VOLUME * 3 / 4);
            Mix_SetPanning(static_cast<int>(i), static_cast<Uint8>(255 * mixCase.left),
                           static_cast<Uint8>(255 * mixCase.right));
        }
        slice_t slice{8, ticks};
        Mix_SetPostMix(BehindMix, &slice);
        WaitFor([&] { return slice.isDone.load(); });
        Mix_SetPostMix(nullptr, nullptr);
        Mix_HaltChannel(-1);
        for (Mix_Chunk* chunk : chunks) Mix_FreeChunk(chunk);
        Mix_CloseAudio();
        return slice.isDone && slice.isHeard
                   ? slice.spentNs / (static_cast<double>(ticks) * framesPerTick * voices)
                   : -1.0;
    }

    // On the dummy driver, which keeps real time. What a call-back mixes is heard when the buffer before it
    // has played.
    double RunStart(double stallMs) override {
        const int bufferFrames = static_cast<int>(stallMs * 44.1);
        SDL_AudioQuit();
        double heardMs = -1.0;
        if (SDL_AudioInit("dummy") == 0 && Mix_OpenAudio(44100, AUDIO_S16SYS, 2, bufferFrames) == 0) {
            auto* bytes = reinterpret_cast<Uint8*>(const_cast<int16_t*>(Noise(0).data()));
            Mix_Chunk* chunk = Mix_QuickLoad_RAW(bytes, soundFrames * 4);
            std::vector<double> starts;
            for (int round = 0; round < 5; ++round) {
                // Each time at another place between two call-backs.
                std::this_thread::sleep_for(
                    std::chrono::milliseconds(2 * static_cast<int>(stallMs) + 29 * round));
                first_sound_t first;
                Mix_SetPostMix(NoteFirstSound, &first);
                const double start = WallNs();
                Mix_PlayChannel(0, chunk, 0);
                WaitFor([&] { return first.atNs != 0.0; });
                Mix_HaltChannel(0);
                Mix_SetPostMix(nullptr, nullptr);
                if (first.atNs != 0.0) starts.push_back((first.atNs - start) * 1e-6 + bufferFrames / 44.1);
            }
            if (!starts.empty()) heardMs = Median(starts);
            Mix_FreeChunk(chunk);
            Mix_CloseAudio();
        }
        SDL_AudioQuit();
        isOpen = SDL_AudioInit("disk") == 0;
        return heardMs;
    }

  private:
    bool isOpen = false;
};

}  // namespace

void AddSdlMixer(mixers_t& mixers) { mixers.push_back(std::make_unique<SdlMixer_t>()); }

#else

void AddSdlMixer(mixers_t&) {}

#endif
