// ringmix_mixer.cpp - the engine as a whole, through MixVoices, on the manual device. Its time is that of
// both threads, the handshake between them included.
#include <algorithm>
#include <string>

#include "core/audio_system.h"
#include "kernels/mix_kernels.h"
#include "mixers.h"
#include "output/dir_sound.h"
#include "platform/manual_output.h"
#include "platform/output_backends.h"
#include "sounds/sound.h"
#include "sounds/sound_file.h"
#include "voices/voice.h"

namespace {

Sound_t* LoadNoise(const mix_case_t& mixCase, unsigned seed) {
    sound_header_t header;
    header.name = std::to_string(seed);
    header.frameCount = soundFrames / mixCase.rateDivisor;
    header.rateDivisor = mixCase.rateDivisor;
    header.isStereo = mixCase.isStereo;
    header.is16Bit = mixCase.is16Bit;
    std::string image = FormatSoundHeader(header);
    const std::size_t samples = header.SampleBytes() / (mixCase.is16Bit ? 2 : 1);
    const std::vector<int16_t>& noise = Noise(seed);
    for (std::size_t i = 0; i < samples; ++i) {
        const int sample = noise[i];
        image += static_cast<char>(mixCase.is16Bit ? sample : sample / 256);
        if (mixCase.is16Bit) image += static_cast<char>(sample >> 8);
    }
    AudioSystem::LoadSoundFromBuffer("bench.sn", image.data(), static_cast<unsigned>(image.size()));
    return AudioSystem::GetSound(header.name.c_str(), "bench.sn");
}

std::vector<Voice_t*> AddVoices(const mix_case_t& mixCase, unsigned voices) {
    std::vector<Voice_t*> added;
    Sound_t* sound = nullptr;
    for (unsigned i = 0; i < voices; ++i) {
        if (!sound || !mixCase.isShared) sound = LoadNoise(mixCase, i);
        Voice_t* voice = sound->CreateCompatibleVoice(0);
        voice->SetPos(i * 577 % sound->frameCount);
        voice->isLooping = true;
        voice->SetVolume(mixCase.left, mixCase.right);
        if (mixCase.pitch != 1.0f) voice->SetFrequency(mixCase.pitch);
        voice->Play();
        added.push_back(voice);
    }
    return added;
}

// Mixed up to the horizon at once, as the tick does with a voice that was played since the last one.
void StartElsewhere(Voice_t& voice, uint32_t position) {
    voice.Stop();
    voice.SetPos(position % voice.frameCount);
    AudioSystem::StartVoice(&voice, 0);
}

class Ringmix_t final : public Mixer_t {
  public:
    explicit Ringmix_t(const char* set_) : Mixer_t(std::string("ringmix-") + set_), set(set_) {}

    bool Takes(const mix_case_t&) const override { return true; }

    double RunSlice(const mix_case_t& mixCase, unsigned voices, uint32_t ticks) override {
        platform::SelectOutput("manual");
        platform::ResetManualOutput();
        const restore_t restore;
        if (!SelectKernels(set) || !AudioSystem::Initialize(nullptr, false, 4096, 32, 16384)) return -1.0;
        AudioSystem::SetWorstCaseFrameRate(30.0f);
        const std::vector<Voice_t*> added = AddVoices(mixCase, voices);
        AudioSystem::MixVoices();  // starts them; from here on the mixing thread stands in its wait
        double start = 0.0;
        for (uint32_t tick = 0; tick < warmUpTicks + ticks; ++tick) {
            if (tick == warmUpTicks) start = ThreadNs();
            if (mixCase.isRestless) StartElsewhere(*added[tick % voices], tick * 7919);
            Tick();
        }
        const double spentNs = ThreadNs() - start;
        const uint8_t* out = AudioSystem::outputStaging;
        const bool isHeard = std::any_of(out, out + 4 * tickFrames, [](uint8_t byte) { return byte != 0; });
        AudioSystem::DeInitialize();
        return isHeard ? spentNs / (static_cast<double>(ticks) * tickFrames * voices) : -1.0;
    }

  private:
    struct restore_t {
        const char* active = ActiveKernels().name;
        ~restore_t() { (void)SelectKernels(active); }
    };

    static constexpr uint32_t warmUpTicks = 8;
    static constexpr uint32_t tickFrames = framesPerTick + 1;  // a multiple of 4, as the device counts

    static void Tick() {
        AudioSystem::ClearAndAdvance(tickFrames);
        AudioSystem::MixAllVoices();
        AudioSystem::ConvertFrames(AudioSystem::ringBase, tickFrames);
        AudioSystem::device->WriteBytes(AudioSystem::outputStaging, tickFrames * 4);
    }

    const char* set;
};

}  // namespace

void AddRingmix(mixers_t& mixers) {
    for (const kernel_set_t* set : AllKernelSets()) {
        if (set->isSupported() && set != &referenceKernels)
            mixers.push_back(std::make_unique<Ringmix_t>(set->name));
    }
}
