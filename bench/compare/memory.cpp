// memory.cpp - resident memory before and while many voices play, each at a place of its own in one long
// sound.
#include "memory.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "compressed/ima_adpcm_file.h"
#include "core/audio_system.h"
#include "measure.h"
#include "platform/manual_output.h"
#include "platform/output_backends.h"
#include "sounds/sound.h"
#include "sounds/sound_file.h"
#include "streaming/base_stream.h"
#include "voices/voice.h"

namespace {

constexpr unsigned voiceCount = 128;
constexpr uint32_t imaBlockBytes = 2048, imaBlockFrames = 2041;
constexpr uint32_t frameCount = voiceCount * 32 * imaBlockFrames;  // streams look ahead for 0.7 seconds

double ResidentBytes() {
    std::ifstream rollup("/proc/self/smaps_rollup");
    std::string word;
    while (rollup >> word) {
        double kilobytes = 0;
        if (word == "Rss:" && rollup >> kilobytes) return kilobytes * 1024;
    }
    return -1.0;
}

std::filesystem::path WriteSound(const char* tag, bool isCompressed) {
    const auto path = std::filesystem::temp_directory_path() /
                      ("ringmix-compare-" + std::to_string(std::rand()) + "." + tag);
    const sound_header_t header{"long", frameCount, true, true};
    const uint32_t dataBytes = isCompressed ? frameCount / imaBlockFrames * imaBlockBytes : frameCount * 4;
    std::ofstream file(path, std::ios::binary);
    file << (isCompressed ? FormatImaHeader(imaBlockBytes, header, dataBytes) : FormatSoundHeader(header));
    file << std::string(dataBytes, '\0');
    return path;
}

double BytesPerVoice(const char* tag, bool isCompressed) {
    const auto path = WriteSound(tag, isCompressed);
    platform::SelectOutput("manual");
    platform::ResetManualOutput();
    double bytes = -1.0;
    if (AudioSystem::Initialize(nullptr, false, 4096, 32, 16384)) {
        AudioSystem::SetWorstCaseFrameRate(30.0f);
        AudioSystem::LoadSound(path.c_str(), nullptr);
        Sound_t* sound = AudioSystem::GetSound("long", nullptr);
        std::vector<uint8_t> played;
        played.reserve(std::size_t{framesPerTick} * 4 * 64);
        const auto tick = [&] {
            AudioSystem::LoadStreams();
            AudioSystem::MixVoices();
            AudioSystem::LoadStreams();
            played.clear();
            platform::PlayManualOutput(framesPerTick, played);
        };
        for (int i = 0; i < 30; ++i) tick();
        const double before = ResidentBytes();
        for (unsigned i = 0; sound->frameCount != 0 && i < voiceCount; ++i) {
            Voice_t* voice = sound->CreateCompatibleVoice(0);
            voice->SetPos(i * (frameCount / voiceCount));
            voice->Play();
        }
        for (int i = 0; i < 8; ++i) tick();
        if (sound->frameCount != 0) bytes = (ResidentBytes() - before) / voiceCount;
        AudioSystem::DeInitialize();
    }
    std::filesystem::remove(path);
    return bytes;
}

}  // namespace

std::vector<memory_result_t> MeasureMemory() {
    return {{"SimpleVoice_t", BytesPerVoice("sn", false)},
            {"CompressedVoice_t", BytesPerVoice("isn", true)},
            {"StreamVoice_t", BytesPerVoice("ssn", false)},
            {"CompressedStreamVoice_t", BytesPerVoice("iss", true)}};
}
