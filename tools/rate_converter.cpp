// rate_converter.cpp - see the header.
#include "rate_converter.h"

#include <algorithm>
#include <cmath>

namespace tools {

namespace {

constexpr long blockFrames = 16384;

}  // namespace

outcome_t RateConverter_t::Open(const std::string& shownName, uint32_t channelCount, uint32_t fromHz,
                                uint32_t toHz) {
    name = shownName;
    channels = channelCount;
    ratio = static_cast<double>(toHz) / fromHz;
    framesIn = framesOut = 0;
    state.reset();
    if (fromHz == toHz) return Success();
    if (src_is_valid_ratio(ratio) == 0) {
        return Failure(name, std::to_string(fromHz) + " Hz is too far from any rate of the engine");
    }
    int error = 0;
    state.reset(src_new(SRC_SINC_BEST_QUALITY, static_cast<int>(channels), &error));
    return state != nullptr ? Success() : Failure(name, src_strerror(error));
}

outcome_t RateConverter_t::Convert(const std::vector<double>& in, bool isLast, std::vector<double>& out) {
    if (state == nullptr) {
        out.insert(out.end(), in.begin(), in.end());
        return Success();
    }
    std::vector<float> source(in.begin(), in.end());
    source.reserve(1);  // libsamplerate holds back its tail while the input's address is null
    std::vector<float> result(blockFrames * channels);
    SRC_DATA data{};
    data.data_in = source.data();
    data.input_frames = static_cast<long>(source.size() / channels);
    data.data_out = result.data();
    data.output_frames = blockFrames;
    data.src_ratio = ratio;
    data.end_of_input = isLast ? 1 : 0;
    framesIn += static_cast<uint64_t>(data.input_frames);
    do {
        if (const int error = src_process(state.get(), &data); error != 0)
            return Failure(name, src_strerror(error));
        Append(result.data(), static_cast<uint64_t>(data.output_frames_gen), isLast, out);
        data.data_in += data.input_frames_used * static_cast<long>(channels);
        data.input_frames -= data.input_frames_used;
    } while (data.input_frames > 0 || data.output_frames_gen > 0);
    if (isLast) PadToLength(out);
    return Success();
}

uint64_t RateConverter_t::FullLength() const {
    return static_cast<uint64_t>(std::llround(static_cast<double>(framesIn) * ratio));
}

void RateConverter_t::Append(const float* frames, uint64_t count, bool isLast, std::vector<double>& out) {
    if (isLast) count = std::min(count, FullLength() - std::min(framesOut, FullLength()));
    out.insert(out.end(), frames, frames + count * channels);
    framesOut += count;
}

void RateConverter_t::PadToLength(std::vector<double>& out) {
    while (framesOut < FullLength()) {
        out.insert(out.end(), channels, 0.0);
        ++framesOut;
    }
}

}  // namespace tools
