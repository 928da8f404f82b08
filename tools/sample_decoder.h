// sample_decoder.h - any audio file as the samples of a sound: decoded, folded, resampled, rounded, clipped.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>

#include "outcome.h"
#include "sound_import.h"

namespace tools {

// Appends the samples to `out`, in the form of a sound file, block by block, and fills in the format and the
// length of the report's header and what became of the source.
outcome_t DecodeSamples(const std::filesystem::path& input, const import_options_t& options, FILE* out,
                        import_report_t& report);

}  // namespace tools
