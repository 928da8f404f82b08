// sound_file.cpp - any bytes as a sound file of each class, from file and from memory. Both must come to the
// same, a stream must take what a sound in memory takes, and what loads must play: the stream bit for bit as
// the sound in memory.
#include <algorithm>
#include <cstring>
#include <memory>

#include "compressed/ima_adpcm_sound.h"
#include "core/audio_system.h"
#include "fuzz/fuzz_engine.h"
#include "fuzz/fuzz_input.h"
#include "fuzz/targets.h"
#include "sounds/simple_sound.h"
#include "streaming/base_stream.h"
#include "streaming/ima_adpcm_stream_sound.h"
#include "streaming/stream_sound.h"
#include "voices/voice.h"

namespace {

constexpr uint32_t pageBytes = 4096, pagesAhead = 64;

bool IsLoaded(const Sound_t& sound) { return !SameText(sound.name.text, defaultSoundName); }

void RequireSameFormat(const Sound_t& one, const Sound_t& other) {
    FUZZ_REQUIRE(SameText(one.name.text, other.name.text));
    FUZZ_REQUIRE(one.frameCount == other.frameCount && one.rateDivisor == other.rateDivisor);
    FUZZ_REQUIRE(one.is16Bit == other.is16Bit && one.isStereo == other.isStereo);
    FUZZ_REQUIRE(one.lockFlags == other.lockFlags && one.bytesPerFrame == other.bytesPerFrame);
    FUZZ_REQUIRE(std::memcmp(&one.baseVolume, &other.baseVolume, sizeof one.baseVolume) == 0);
}

template <typename Memory, typename Stream>
bool LoadEachWay(const std::string& path, const uint8_t* data, std::size_t size) {
    const auto fromFile = std::make_unique<Memory>(), fromMemory = std::make_unique<Memory>();
    const auto stream = std::make_unique<Stream>();
    fromFile->LoadFromFile(path.c_str());
    fromMemory->LoadFromBuffer(data, static_cast<unsigned>(size));
    stream->LoadFromFile(path.c_str());
    FUZZ_REQUIRE(IsLoaded(*fromFile) == IsLoaded(*fromMemory) && IsLoaded(*fromFile) == IsLoaded(*stream));
    if (!IsLoaded(*fromFile)) return false;
    RequireSameFormat(*fromFile, *fromMemory);
    RequireSameFormat(*fromFile, *stream);
    return true;
}

// What the device plays of one voice. The bytes say where it begins, how fast it is, and whether it loops.
std::vector<uint8_t> Heard(const std::string& path, const char* archive, std::string name,
                           fuzz::Input_t input) {
    const fuzz::Engine_t engine(pageBytes, pagesAhead, pageBytes);
    AudioSystem::SetWorstCaseFrameRate(60);
    AudioSystem::LoadSound(path.c_str(), archive);
    Sound_t* sound = AudioSystem::GetSound(name.c_str(), archive);
    FUZZ_REQUIRE(SameText(sound->name.text, name.c_str()));
    Voice_t* voice = sound->CreateCompatibleVoice(static_cast<int32_t>(input.Below(2)));
    voice->isLooping = input.Flag();
    if (input.Flag()) voice->SetFrequency(0.2f + static_cast<float>(input.Byte()) / 40.0f);
    if (input.Flag()) voice->SetVolume(1.0f, static_cast<float>(input.Byte()) / 255.0f);
    voice->SetPos(input.Below(std::max(voice->totalLength, 1u)));
    voice->Play();
    std::vector<uint8_t> heard;
    for (int tick = 0; tick < 8; ++tick) {
        AudioSystem::LoadStreams();
        AudioSystem::MixVoices();
        const std::vector<uint8_t> played = fuzz::Engine_t::Play(735);
        heard.insert(heard.end(), played.begin(), played.end());
    }
    return heard;
}

// By the names that the file has in each class.
void RequireSameSound(const std::string& memoryPath, const std::string& streamPath, const std::string& name,
                      const fuzz::Input_t& input) {
    FUZZ_REQUIRE(Heard(memoryPath, "memory", name, input) == Heard(streamPath, "stream", name, input));
}

std::string NameIn(const uint8_t* data, std::size_t size) {
    SimpleSound_t plain;
    plain.LoadFromBuffer(data, static_cast<unsigned>(size));
    if (IsLoaded(plain)) return plain.name.text;
    IMA_ADPCM_Sound_t ima;
    ima.LoadFromBuffer(data, static_cast<unsigned>(size));
    return ima.name.text;
}

}  // namespace

int FuzzSoundFile(const uint8_t* data, std::size_t size) {
    if (size > 1u << 20) return 0;
    fuzz::SetPageSizes(pageBytes, pageBytes);
    const std::string path = fuzz::WriteScratch("sound.sn", data, size);
    const bool isPlain = LoadEachWay<SimpleSound_t, StreamSound_t>(path, data, size);
    const bool isIma = LoadEachWay<IMA_ADPCM_Sound_t, IMA_ADPCM_StreamSound_t>(path, data, size);
    if (!isPlain && !isIma) return 0;
    const std::string memory = isPlain ? path : fuzz::WriteScratch("sound.isn", data, size);
    const std::string stream = fuzz::WriteScratch(isPlain ? "sound.ssn" : "sound.iss", data, size);
    const std::size_t last = std::min<std::size_t>(size, 8);
    RequireSameSound(memory, stream, NameIn(data, size), fuzz::Input_t(data + size - last, last));
    return 0;
}
