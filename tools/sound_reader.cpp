// sound_reader.cpp - nothing is believed but what has been read.
#include "sound_reader.h"

#include "foundation/measure_rest.h"
#include "input_file.h"
#include "sound_classes.h"

namespace tools {

outcome_t SoundFile_t::Open(const std::filesystem::path& path) {
    shownName = path.string();
    if (outcome_t readable = CheckReadable(path); !readable) return readable;
    file.reset(std::fopen(path.c_str(), "rb"));
    uint64_t fileBytes = 0;
    if (file == nullptr || !MeasureRest(file.get(), fileBytes)) return SystemFailure(shownName);
    char start[maxStoredHeaderBytes];
    const size_t count = std::fread(start, 1, sizeof start, file.get());
    const uint32_t headerBytes = ParseStoredSound({start, count}, stored);
    if (headerBytes == 0)
        return Failure(shownName, "Not a sound file of the engine: ringmix import makes one");
    const sound_class_t* soundClass = SoundClassOf(path);
    if (soundClass != nullptr && soundClass->isAdpcm != stored.IsAdpcm()) {
        return Failure(shownName,
                       stored.IsAdpcm()
                           ? "Holds ADPCM, which no ." + std::string(soundClass->tag) + " file does"
                           : "Holds samples, which no ." + std::string(soundClass->tag) + " file does");
    }
    if (headerBytes + stored.StoredBytes() > fileBytes) {
        return Failure(shownName, "Ends before its samples do");
    }
    dataStart = static_cast<long>(headerBytes);
    return Success();
}

SampleReader_t SoundFile_t::Samples() {
    std::fseek(file.get(), dataStart, SEEK_SET);
    return {shownName, stored,
            [open = file.get()](uint8_t* to, size_t bytes) { return std::fread(to, 1, bytes, open); }};
}

}  // namespace tools
