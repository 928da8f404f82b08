// main.cpp - thirty scenes, made of their numbers, on the manual device: a line for each with the hash of all
// that was played. What is printed must be the same for every compiler, optimisation, CPU and set of kernels.
//   ringmix_same_bits [KERNELS]    the set of kernels to use; "list" prints the sets that this CPU can run
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "compressed/ima_adpcm.h"
#include "compressed/ima_adpcm_file.h"
#include "core/audio_system.h"
#include "kernels/mix_kernels.h"
#include "platform/manual_output.h"
#include "platform/output_backends.h"
#include "sounds/sound.h"
#include "sounds/sound_file.h"
#include "streaming/base_stream.h"
#include "voices/sliding_voice.h"

namespace {

constexpr uint32_t sceneCount = 30, ticksPerScene = 40, framesPerTick = 735;
constexpr const char* tags[] = {"sn", "isn", "ssn", "iss"};

[[noreturn]] void Fail(const std::string& reason) {
    std::fprintf(stderr, "ringmix_same_bits: %s\n", reason.c_str());
    std::exit(1);
}

class Folder_t {
  public:
    Folder_t() {
        std::string pattern = (std::filesystem::temp_directory_path() / "ringmix-bits-XXXXXX").string();
        if (!mkdtemp(pattern.data())) Fail("no folder for its files");
        path = pattern;
    }
    ~Folder_t() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    std::filesystem::path path;
};

// Everything that can be chosen is: formats, rates, volumes, slides, loops, queues, when what happens.
class Scene_t {
  public:
    Scene_t(uint32_t number, const std::filesystem::path& folder) : random(number), files(folder) {}

    // FNV-1a over the bytes that the device played.
    uint64_t Play() {
        platform::ResetManualOutput();
        if (Below(6) == 0) platform::ManualSettings().isEmulated = true;
        if (!AudioSystem::Initialize(nullptr, false, 4096, 64, 4096)) Fail("the engine does not start");
        const uint32_t rates[] = {8, 30, 60, 88};
        AudioSystem::SetWorstCaseFrameRate(static_cast<float>(rates[Below(4)]));
        for (uint32_t i = 0; i < 8; ++i) MakeSound(i);
        uint64_t hash = 14695981039346656037u;
        for (uint32_t tick = 0; tick < ticksPerScene; ++tick) {
            for (uint32_t changes = Below(4); changes > 0; --changes) Change();
            AudioSystem::LoadStreams();
            AudioSystem::MixVoices();
            std::vector<uint8_t> played;
            platform::PlayManualOutput(framesPerTick, played);
            for (const uint8_t byte : played) hash = (hash ^ byte) * 1099511628211u;
            heardBytes += static_cast<uint32_t>(played.size()) -
                          static_cast<uint32_t>(std::count(played.begin(), played.end(), uint8_t{0}));
        }
        AudioSystem::DeInitialize();
        if (heardBytes < 1000) Fail("a scene is silent");
        return hash;
    }

  private:
    uint32_t Below(uint32_t limit) { return static_cast<uint32_t>(random() % limit); }
    float Part() { return static_cast<float>(Below(1001)) / 1000.0f; }

    void MakeSound(uint32_t index) {
        const std::string tag = tags[index % 4];
        const bool isIma = tag[0] == 'i';
        sound_header_t header{"sound" + std::to_string(index),
                              500 + Below(20'000),
                              Below(2) == 1,
                              isIma || Below(2) == 1,
                              1 + Below(5),
                              Below(4) ? 0 : Below(8),
                              1.0f};
        if (Below(2)) header.baseVolume = Part() * 1.5f;
        const uint32_t blockBytes = 64 + Below(500),
                       perBlock = ImaSamplesPerBlock(blockBytes, header.isStereo);
        const uint32_t blocks = (header.frameCount + perBlock - 1) / perBlock;
        std::string data(isIma ? std::size_t{blocks} * blockBytes : header.SampleBytes(), '\0');
        for (char& byte : data) byte = static_cast<char>(random());
        for (std::size_t head = 0; isIma && head < data.size(); head += blockBytes) {
            for (std::size_t at = head; at < head + (header.isStereo ? 8 : 4); at += 4) {
                data[at + 2] = static_cast<char>(Below(89));
                data[at + 3] = 0;
            }
        }
        const std::string image =
            (isIma ? FormatImaHeader(blockBytes, header, static_cast<uint32_t>(data.size()))
                   : FormatSoundHeader(header)) +
            data;
        const std::string path = (files / (header.name + "." + tag)).string();
        FILE* file = std::fopen(path.c_str(), "wb");
        if (!file || std::fwrite(image.data(), 1, image.size(), file) != image.size())
            Fail("cannot write " + path);
        std::fclose(file);
        AudioSystem::LoadSound(path.c_str(), nullptr);
        sounds.push_back(AudioSystem::GetSound(header.name.c_str(), nullptr));
        if (sounds.back()->frameCount == 0) Fail("cannot load " + path);
    }

    void Change() {
        Sound_t* sound = sounds[Below(8)];
        if (voices.size() < 10) {
            const bool isSliding = sound->IsASortOf("SimpleSound") && Below(2);
            const auto mode = static_cast<int32_t>(Below(3));
            voices.push_back(isSliding ? new SlidingVoice_t(sound, mode)
                                       : sound->CreateCompatibleVoice(mode));
            return voices.back()->Play();
        }
        Voice_t& voice = *voices[Below(static_cast<uint32_t>(voices.size()))];
        switch (Below(8)) {
            case 0:
                return voice.Stop();
            case 1:
                return voice.SetPos(Below(voice.totalLength));
            case 2: {
                const float left = Part();
                return voice.SetVolume(left, Part());
            }
            case 3:
                return voice.SetFrequency(0.2f + Part() * 7.0f);
            case 4:
                voice.isLooping = !voice.isLooping;
                return;
            case 5:
                if (voice.IsCompatibleSound(sound)) voice.QueueSound(sound);
                return;
            case 6:
                return Slide(dynamic_cast<SlidingVoice_t*>(&voice));
            default:
                return voice.Play();
        }
    }

    void Slide(SlidingVoice_t* voice) {
        if (!voice) return;
        const uint32_t from = Below(voice->totalLength), to = Below(voice->totalLength);
        const float one = Part(), other = Part();
        voice->SetFrequencySlide(from, to, 0.2f + one * 6.0f, 0.2f + other * 6.0f);
        voice->SetVolumeSlide(from, to, one, other, other, one);
    }

    std::mt19937 random;
    std::filesystem::path files;
    std::vector<Sound_t*> sounds;
    std::vector<Voice_t*> voices;
    uint32_t heardBytes = 0;
};

}  // namespace

int main(int argumentCount, char** arguments) {
    const std::string wanted = argumentCount > 1 ? arguments[1] : "";
    if (wanted == "list") {
        for (const kernel_set_t* set : AllKernelSets()) {
            if (set->isSupported()) std::puts(set->name);
        }
        return 0;
    }
    if (!wanted.empty() && !SelectKernels(wanted)) Fail("no such kernels here: " + wanted);
    if (!platform::SelectOutput("manual")) Fail("no manual device");
    const Folder_t folder;
    for (uint32_t scene = 0; scene < sceneCount; ++scene)
        std::printf("%2u %016llx\n", scene,
                    static_cast<unsigned long long>(Scene_t(scene, folder.path).Play()));
    return 0;
}
