// sample_decoder.cpp - see the header.
#include "sample_decoder.h"

#include "audio_source.h"
#include "channel_fold.h"
#include "engine_rates.h"
#include "interrupt.h"
#include "progress.h"
#include "rate_converter.h"
#include "sample_writer.h"

namespace tools {

outcome_t DecodeSamples(const std::filesystem::path& input, const import_options_t& options, FILE* out,
                        import_report_t& report) {
    const std::string shownName = input.string();
    AudioSource_t source;
    if (outcome_t opened = source.Open(input); !opened) return opened;
    const uint32_t rateHz = options.rateHz != 0 ? options.rateHz : NearestEngineRate(source.RateHz());
    const ChannelFold_t fold(source.Channels(), source.ChannelMap(), options.toMono);
    RateConverter_t converter;
    if (outcome_t opened = converter.Open(shownName, fold.OutputChannels(), source.RateHz(), rateHz);
        !opened) {
        return opened;
    }
    SampleWriter_t writer(out, !options.to8Bit);
    Progress_t progress(shownName, source.ClaimedFrames());
    std::vector<double> block, converted;
    uint64_t framesRead = 0;
    do {
        if (Interrupted()) return InterruptedFailure(shownName);
        if (outcome_t read = source.ReadBlock(block); !read) return read;
        framesRead += block.size() / source.Channels();
        fold.Apply(block);
        converted.clear();
        if (outcome_t done = converter.Convert(block, block.empty(), converted); !done) return done;
        if (!writer.Write(converted)) return SystemFailure(shownName + ": writing its samples");
        if (writer.SamplesWritten() / fold.OutputChannels() > UINT32_MAX) {
            return Failure(shownName, "Longer than a sound file can tell");
        }
        progress.Show(framesRead);
    } while (!block.empty());
    sound_header_t& header = report.stored.header;
    header.frameCount = static_cast<uint32_t>(writer.SamplesWritten() / fold.OutputChannels());
    header.isStereo = fold.OutputChannels() == 2;
    header.is16Bit = !options.to8Bit;
    header.rateDivisor = outputRateHz / rateHz;
    report.sourceRateHz = source.RateHz();
    report.sourceChannels = source.Channels();
    report.clippedSamples = writer.ClippedSamples() + source.RepairedSamples();
    return Success();
}

}  // namespace tools
