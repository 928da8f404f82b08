// adpcm_import.cpp - see the header.
#include "adpcm_import.h"

#include <cerrno>

#include "compressed/ima_adpcm_sound.h"
#include "interrupt.h"
#include "output_file.h"
#include "sample_decoder.h"
#include "sound_levels.h"
#include "sound_reader.h"
#include "sounds/riff_reader.h"
#include "wave_header.h"

namespace tools {

namespace {

constexpr int32_t scaleOf8Bits = 256;  // beside samples of 16 bits

// The samples of a PCM wave file in the order in which the engine's import takes them.
SampleReader_t ReadWaveSamples(const std::string& shownName, FILE* wave, const wave_format_t& format,
                               uint32_t dataBytes) {
    stored_sound_t pcm;
    pcm.header.frameCount = dataBytes / format.blockAlign;
    pcm.header.isStereo = format.channels == 2;
    pcm.header.is16Bit = format.bitsPerSample == 16;
    return {shownName, pcm, [wave, is8Bit = !pcm.header.is16Bit](uint8_t* to, size_t count) {
                const size_t read = std::fread(to, 1, count, wave);
                if (is8Bit) FlipSign8(to, read);  // unsigned in a wave file
                return read;
            }};
}

outcome_t PlayThrough(SampleReader_t samples) {
    sound_levels_t unused;
    return MeasureLevels(samples, 1.0, unused);
}

// Of the engine's import: its blocks must play, and if they were encoded here, how well?
outcome_t CheckResult(const std::filesystem::path& wavePath, SoundFile_t& sound, import_report_t& report) {
    const file_t wave(std::fopen(wavePath.c_str(), "rb"));
    wave_format_t format;
    uint32_t dataBytes = 0;
    if (wave == nullptr || !FindWaveData(wave.get(), format, dataBytes)) {
        return Failure(wavePath.string(), "Changed while it was imported");
    }
    if (!IsImportablePcm(format)) return PlayThrough(sound.Samples());
    SampleReader_t original = ReadWaveSamples(wavePath.string(), wave.get(), format, dataBytes);
    SampleReader_t decoded = sound.Samples();
    const int32_t scale = format.bitsPerSample == 8 ? scaleOf8Bits : 1;
    return MeasureSignalToNoise(original, scale, decoded, report.signalToNoiseDb.emplace());
}

// shownName is the file that the user knows; the wave file may be one that was made from it.
outcome_t EncodeWave(const std::string& shownName, const std::filesystem::path& wave,
                     const std::filesystem::path& output, const import_options_t& options,
                     import_report_t& report) {
    OutputFile_t file;
    if (outcome_t made = file.Create(output); !made) return made;
    const std::filesystem::path& temporary = file.CloseForWriter();
    const std::string name = report.stored.header.name;
    errno = 0;
    if (!IMA_ADPCM_Sound_t::ImportWaveFile(wave.c_str(), temporary.c_str(), name.c_str(), options.lockFlags,
                                           options.baseVolume)) {
        return ImportFailure(shownName, output);
    }
    if (Interrupted()) return InterruptedFailure(shownName);
    SoundFile_t sound;
    if (outcome_t opened = sound.Open(temporary); !opened) return Failure(output.string(), opened.reason);
    report.stored = sound.Stored();
    if (outcome_t good = CheckResult(wave, sound, report); !good) return Failure(shownName, good.reason);
    return file.Commit();
}

}  // namespace

outcome_t ImportWaveAsAdpcm(const std::filesystem::path& input, const std::filesystem::path& output,
                            const import_options_t& options, import_report_t& report) {
    return EncodeWave(input.string(), input, output, options, report);
}

outcome_t DecodeToAdpcm(const std::filesystem::path& input, const std::filesystem::path& output,
                        const import_options_t& options, import_report_t& report) {
    OutputFile_t scratch;  // never committed
    if (outcome_t made = scratch.Create(output); !made) return made;
    const std::filesystem::path& path = scratch.CloseForWriter();
    file_t wave(std::fopen(path.c_str(), "wb"));
    if (wave == nullptr) return SystemFailure(output.string());
    const std::string placeholder = FormatWaveHeader(0);  // the length is known at the end
    std::fwrite(placeholder.data(), 1, placeholder.size(), wave.get());
    if (outcome_t decoded = DecodeSamples(input, options, wave.get(), report); !decoded) return decoded;

    const stored_sound_t& pcm = report.stored;
    const wave_shape_t shape{pcm.Channels(), pcm.Bits(), outputRateHz / pcm.header.rateDivisor};
    if (pcm.header.frameCount > shape.MaxFrames()) {
        return Failure(input.string(), "Longer than can be encoded");
    }
    const std::string header = FormatWaveHeader(pcm.header.frameCount, shape);
    if (std::fseek(wave.get(), 0, SEEK_SET) != 0 ||
        std::fwrite(header.data(), 1, header.size(), wave.get()) != header.size() ||
        std::fclose(wave.release()) != 0) {
        return SystemFailure(output.string());
    }
    return EncodeWave(input.string(), path, output, options, report);
}

}  // namespace tools
