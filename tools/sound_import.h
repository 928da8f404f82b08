// sound_import.h - turns an audio file of any common kind into a sound file of the engine: plain samples or
// ADPCM, as the extension of the output's name says.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "outcome.h"
#include "stored_sound.h"

namespace tools {

struct import_options_t {
    std::optional<std::string> name;  // the input's stem without it
    uint32_t lockFlags = 0;
    float baseVolume = 1.0f;
    uint32_t rateHz = 0;  // one of the engine's rates; 0: the one that is nearest to the input's
    bool toMono = false;
    bool to8Bit = false;
};

struct import_report_t {
    stored_sound_t stored;  // what was written
    uint32_t sourceRateHz = 0;
    uint32_t sourceChannels = 0;
    uint64_t clippedSamples = 0;
    std::optional<double> signalToNoiseDb;  // of ADPCM that was encoded, not copied; infinite: exact
    uint64_t sourceBytes = 0, outputBytes = 0;
};

// Whether a sound file of the output's class can hold these; the subject of a failure is the option's name,
// or the input.
outcome_t CheckImportOptions(const std::filesystem::path& input, const std::filesystem::path& output,
                             const import_options_t& options);

// PCM wave files that need no conversion go through the engine's own import, and so do IMA ADPCM wave files
// that become ADPCM sounds: those are copied. All else is decoded, in blocks, folded to one or two channels,
// resampled if its rate is not the wanted one, rounded and clipped. Fails without a trace at `output`; an
// older file stays.
outcome_t ImportSound(const std::filesystem::path& input, const std::filesystem::path& output,
                      const import_options_t& options, import_report_t& report);

}  // namespace tools
