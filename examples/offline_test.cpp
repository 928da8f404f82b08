// A unit test that listens: plays a second of a game on the output "manual", as fast as it goes, and compares
// what is heard with what was heard when somebody last listened to it.
//   offline_test SOUND.sn                    0: as it was; 1: it differs
//   offline_test SOUND.sn --listen | aplay -f cd
//
// The engine gives the same bits on every machine, so the expected hash stands in the source. After a change
// that is meant to be heard: listen, then write the new hash here.
#include <ringmix/audio_wrapper.h>
#include <ringmix/host.h>
#include <ringmix/output_selection.h>

#include <cstdint>
#include <cstdio>
#include <vector>

namespace {

constexpr uint64_t expectedHash = 0xbbbb2ae8bdd1d215;
constexpr unsigned framesPerSecond = 60, outputFrames = 44100 / framesPerSecond;

bool Check(const ringmix::result_t& result) {
    if (!result) std::fprintf(stderr, "offline_test: %s\n", result.text);
    return static_cast<bool>(result);
}

// What the test is about: replace it by frames of your game.
bool PlayFrame(unsigned frame, ringmix::SoundHandle_t sound, ringmix::VoiceHandle_t& loop) {
    ringmix::VoiceHandle_t shot;
    ringmix::voice_options_t quietLoop;
    quietLoop.isLooping = true;
    quietLoop.leftVolume = 0.5f;
    if (frame == 0) return Check(sound.MakeVoice(loop, quietLoop)) && Check(loop.Play());
    if (frame == 20) return Check(sound.PlayOnce(shot));
    if (frame == 30) return Check(loop.SetFrequency(1.5f));
    if (frame == 50) return Check(loop.Stop());
    return true;
}

bool Render(const char* path, std::vector<int16_t>& heard) {
    ringmix::SoundHandle_t sound;
    ringmix::VoiceHandle_t loop;
    if (!Check(ringmix::SoundHandle_t::Load(path, nullptr, sound))) return false;
    for (unsigned frame = 0; frame < framesPerSecond; ++frame) {
        if (!PlayFrame(frame, sound, loop)) return false;
        AudioWrapper_t::MixVoices();
        int16_t block[outputFrames * 2];
        const unsigned played = OutputSelection_t::PlayManual(block, outputFrames);
        heard.insert(heard.end(), block, block + played * 2);
    }
    return true;
}

// FNV-1a, over the low and the high byte of each sample.
uint64_t HashOf(const std::vector<int16_t>& samples) {
    uint64_t hash = 0xcbf29ce484222325;
    for (const int16_t sample : samples) {
        for (const int byte : {sample & 0xFF, sample >> 8 & 0xFF})
            hash = (hash ^ static_cast<uint64_t>(byte)) * 0x100000001b3;
    }
    return hash;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return std::fprintf(stderr, "usage: offline_test SOUND.sn [--listen]\n"), 2;
    ringmix::start_options_t options;
    options.backend = "manual";
    std::vector<int16_t> heard;
    const bool isRendered = Check(ringmix::Start(options)) && Render(argv[1], heard);
    ringmix::Stop();
    if (!isRendered) return 1;
    if (argc > 2) return std::fwrite(heard.data(), 2, heard.size(), stdout) == heard.size() ? 0 : 1;

    const uint64_t hash = HashOf(heard);
    if (hash == expectedHash) return 0;
    std::fprintf(stderr, "offline_test: %zu frames hash to 0x%016llx, expected 0x%016llx\n", heard.size() / 2,
                 static_cast<unsigned long long>(hash), static_cast<unsigned long long>(expectedHash));
    return 1;
}
