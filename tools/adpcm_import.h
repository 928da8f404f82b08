// adpcm_import.h - the ways into an ADPCM sound file. Blocks are made by the engine's own import alone.
#pragma once

#include <filesystem>

#include "outcome.h"
#include "sound_import.h"

namespace tools {

// A wave file that the engine's import takes as it is: PCM is encoded, IMA ADPCM is copied. What was written
// is decoded again: copied blocks that a voice could not play are a failure, encoded ones are compared with
// their source.
outcome_t ImportWaveAsAdpcm(const std::filesystem::path& input, const std::filesystem::path& output,
                            const import_options_t& options, import_report_t& report);

// Any other audio file, by way of a PCM wave file beside the output.
outcome_t DecodeToAdpcm(const std::filesystem::path& input, const std::filesystem::path& output,
                        const import_options_t& options, import_report_t& report);

}  // namespace tools
