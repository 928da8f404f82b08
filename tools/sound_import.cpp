// sound_import.cpp - which way a file takes into a sound file, and the ways of plain samples.
//
// The text header stands first and its length depends on the number of frames, which is known only when the
// last block has been decoded: samples wait in a scratch file until then.
#include "sound_import.h"

#include <cerrno>
#include <cmath>

#include "adpcm_import.h"
#include "engine_rates.h"
#include "input_file.h"
#include "output_file.h"
#include "sample_decoder.h"
#include "sound_classes.h"
#include "sound_reader.h"
#include "sounds/riff_reader.h"
#include "sounds/simple_sound.h"

namespace tools {

namespace {

constexpr uint16_t formatImaAdpcm = 17, imaBits = 4;

sound_header_t HeaderFor(const std::filesystem::path& input, const import_options_t& options) {
    sound_header_t header;
    header.name = options.name ? *options.name : input.stem().string();
    header.lockFlags = options.lockFlags;
    header.baseVolume = options.baseVolume;
    return header;
}

bool IsAdpcm(const std::filesystem::path& output) {
    const sound_class_t* soundClass = SoundClassOf(output);
    return soundClass != nullptr && soundClass->isAdpcm;
}

bool ReadWaveFormat(const std::filesystem::path& input, wave_format_t& format) {
    const file_t file(std::fopen(input.c_str(), "rb"));
    uint32_t dataBytes = 0;
    return file != nullptr && FindWaveData(file.get(), format, dataBytes);
}

// Blocks of four bits a sample; copied as they are, they keep their pitch only at a rate that divides the
// engine's.
bool IsEngineIma(const wave_format_t& format) {
    return format.tag == formatImaAdpcm && format.bitsPerSample == imaBits &&
           (format.channels == 1 || format.channels == 2) && IsPlayableRate(format) &&
           outputRateHz % format.samplesPerSecond == 0;
}

// Whether the engine's own import takes the file and nothing else is asked for.
bool FitsAsItIs(const wave_format_t& format, bool toAdpcm, const import_options_t& options) {
    const bool isPcm = IsImportablePcm(format) && IsEngineRate(format.samplesPerSecond);
    if (!isPcm && !(toAdpcm && IsEngineIma(format))) return false;
    return (options.rateHz == 0 || options.rateHz == format.samplesPerSecond) &&
           (!options.toMono || format.channels == 1) && (!options.to8Bit || format.bitsPerSample == 8);
}

outcome_t CopyPcmWave(const std::filesystem::path& input, const std::filesystem::path& output,
                      const import_options_t& options, import_report_t& report) {
    OutputFile_t file;
    if (outcome_t made = file.Create(output); !made) return made;
    const std::filesystem::path& temporary = file.CloseForWriter();
    const std::string name = report.stored.header.name;
    errno = 0;
    if (!SimpleSound_t::ImportWaveFile(input.c_str(), temporary.c_str(), name.c_str(), options.lockFlags,
                                       options.baseVolume)) {
        return ImportFailure(input, output);
    }
    SoundFile_t sound;
    if (outcome_t opened = sound.Open(temporary); !opened) return Failure(output.string(), opened.reason);
    report.stored = sound.Stored();
    return file.Commit();
}

outcome_t WriteSoundFile(const std::filesystem::path& output, const stored_sound_t& sound, FILE* samples) {
    OutputFile_t file;
    if (outcome_t made = file.Create(output); !made) return made;
    file.Write(FormatStoredSound(sound));
    std::vector<char> block(65536);
    std::rewind(samples);
    for (size_t count; (count = std::fread(block.data(), 1, block.size(), samples)) > 0;) {
        if (!file.Write(block.data(), count)) break;
    }
    if (std::ferror(samples) != 0) return Failure(output.string(), "Its samples could not be read back");
    return file.Commit();
}

outcome_t DecodeToSamples(const std::filesystem::path& input, const std::filesystem::path& output,
                          const import_options_t& options, import_report_t& report) {
    const file_t scratch(OpenScratchFile(output));
    if (scratch == nullptr) return SystemFailure(output.string());
    if (outcome_t decoded = DecodeSamples(input, options, scratch.get(), report); !decoded) return decoded;
    return WriteSoundFile(output, report.stored, scratch.get());
}

outcome_t Convert(const std::filesystem::path& input, const std::filesystem::path& output,
                  const import_options_t& options, import_report_t& report) {
    const bool toAdpcm = IsAdpcm(output);
    wave_format_t format;
    if (!ReadWaveFormat(input, format) || !FitsAsItIs(format, toAdpcm, options)) {
        return (toAdpcm ? DecodeToAdpcm : DecodeToSamples)(input, output, options, report);
    }
    report.sourceRateHz = format.samplesPerSecond;
    report.sourceChannels = format.channels;
    return (toAdpcm ? ImportWaveAsAdpcm : CopyPcmWave)(input, output, options, report);
}

}  // namespace

outcome_t CheckImportOptions(const std::filesystem::path& input, const std::filesystem::path& output,
                             const import_options_t& options) {
    sound_header_t header = HeaderFor(input, options);
    if (!IsSoundFileName(header.name)) {
        const std::string reason = "A sound's name is 1 to 99 bytes without blanks";
        return options.name ? Failure("--name", reason)
                            : Failure(input.string(), reason + ": give one with --name");
    }
    if (options.to8Bit && IsAdpcm(output)) return Failure("--8bit", "An ADPCM sound has 16 bits");
    if (std::isfinite(options.baseVolume) && !FormatSoundHeader(header).empty()) return Success();
    return Failure("--volume", "Not a number that a sound file can hold");
}

outcome_t ImportSound(const std::filesystem::path& input, const std::filesystem::path& output,
                      const import_options_t& options, import_report_t& report) {
    if (outcome_t valid = CheckImportOptions(input, output, options); !valid) return valid;
    if (outcome_t readable = CheckReadable(input); !readable) return readable;
    report = {};
    report.stored.header = HeaderFor(input, options);
    std::error_code ignored;
    report.sourceBytes = std::filesystem::file_size(input, ignored);
    if (outcome_t converted = Convert(input, output, options, report); !converted) return converted;
    report.outputBytes = std::filesystem::file_size(output, ignored);
    return Success();
}

}  // namespace tools
