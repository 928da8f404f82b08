// wave_import.cpp - any bytes as a wave file, in both imports. What an import makes must load; one that fails
// leaves no file.
#include "compressed/ima_adpcm_sound.h"
#include "fuzz/fuzz_engine.h"
#include "fuzz/fuzz_input.h"
#include "fuzz/targets.h"
#include "sounds/simple_sound.h"

namespace {

template <typename Sound>
void Import(const std::string& wave, const std::string& soundPath) {
    const bool isImported = Sound::ImportWaveFile(wave.c_str(), soundPath.c_str(), "fuzz", 0, 1.0f);
    FUZZ_REQUIRE(isImported == std::filesystem::exists(soundPath));
    FUZZ_REQUIRE(!std::filesystem::exists(soundPath + ".part"));
    if (!isImported) return;
    Sound sound;
    sound.LoadFromFile(soundPath.c_str());
    FUZZ_REQUIRE(SameText(sound.name.text, "fuzz"));
    std::filesystem::remove(soundPath);
}

}  // namespace

int FuzzWaveImport(const uint8_t* data, std::size_t size) {
    if (size > 1u << 20) return 0;
    fuzz::SetPageSizes(4096, 4096);
    const std::string wave = fuzz::WriteScratch("input.wav", data, size);
    Import<SimpleSound_t>(wave, fuzz::Scratch().At("imported.sn"));
    Import<IMA_ADPCM_Sound_t>(wave, fuzz::Scratch().At("imported.isn"));
    return 0;
}
