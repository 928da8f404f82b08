// picture_view.cpp - what every picture of a signal starts from.
#include <filesystem>

#include "tools/pictures.h"
#include "tools/spectrogram.h"

namespace tools {

namespace {

constexpr uint32_t mostEnvelopeColumns = 960, spectrogramColumns = 720, spectrogramRows = 180;

}  // namespace

outcome_t CheckPictures(const std::string&) { return Success(); }

outcome_t CheckPictureName(const std::string& path) {
    const std::string extension = std::filesystem::path(path).extension().string();
    if (extension == ".png" || extension == ".svg") return Success();
    return Failure(path, "The name of a picture ends in .png or .svg");
}

SignalView_t::SignalView_t(uint32_t channels, uint32_t rate, uint64_t frames, double highestValue)
    : rateHz(rate),
      envelope(channels, frames, mostEnvelopeColumns, highestValue),
      spectrogram(
          std::make_unique<Spectrogram_t>(channels, rate, frames, spectrogramColumns, spectrogramRows)) {}

SignalView_t::~SignalView_t() = default;

void SignalView_t::Add(const double* interleaved, size_t frames) {
    envelope.Add(interleaved, frames);
    spectrogram->Add(interleaved, frames);
}

void SignalView_t::Finish() { spectrogram->Finish(); }

}  // namespace tools
