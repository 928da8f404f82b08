// main.cpp - thirty scenes, made of their numbers, on the manual device: a line for each with the hash of all
// that was played. What is printed must be the same for every compiler, optimisation, CPU and set of kernels.
//   ringmix_same_bits [KERNELS]    the set of kernels to use; "list" prints the sets that this CPU can run
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "core/audio_system.h"
#include "kernels/mix_kernels.h"
#include "platform/manual_output.h"
#include "platform/output_backends.h"
#include "streaming/base_stream.h"
#include "tests/ima_sounds.h"
#include "tests/restless_voices.h"
#include "tests/scratch_folder.h"

namespace {

constexpr uint32_t sceneCount = 30, ticksPerScene = 40, framesPerTick = 735;
constexpr const char* tags[] = {"sn", "isn", "ssn", "iss"};

[[noreturn]] void Fail(const std::string& reason) {
    std::fprintf(stderr, "ringmix_same_bits: %s\n", reason.c_str());
    std::exit(1);
}

// Everything that can be chosen is: formats, rates, volumes, slides, loops, queues, when what happens.
class Scene_t {
  public:
    explicit Scene_t(uint32_t number) : restless(number) {}

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
            for (uint32_t changes = Below(6); changes > 0; --changes) restless.Disturb(sounds);
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
    uint32_t Below(uint32_t limit) { return restless.Below(limit); }

    void MakeSound(uint32_t index) {
        const std::string tag = tags[index % 4], name = "sound" + std::to_string(index);
        sound_header_t header{name, 500 + Below(20'000), Below(2) == 1, Below(2) == 1, 1 + Below(5)};
        if (Below(4) == 0) header.lockFlags = Below(8);
        if (Below(2)) header.baseVolume = static_cast<float>(Below(1501)) / 1000.0f;
        const std::string image = NoiseImage(header, tag[0] == 'i' ? 64 + Below(500) : 0, index);
        AudioSystem::LoadSound(folder.Write(name + "." + tag, image).c_str(), nullptr);
        sounds.push_back(AudioSystem::GetSound(name.c_str(), nullptr));
        if (sounds.back()->frameCount == 0) Fail("cannot load " + name);
    }

    ScratchFolder_t folder;
    RestlessVoices_t restless;
    std::vector<Sound_t*> sounds;
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
    for (uint32_t scene = 0; scene < sceneCount; ++scene)
        std::printf("%2u %016llx\n", scene, static_cast<unsigned long long>(Scene_t(scene).Play()));
    return 0;
}
