// no_pictures.cpp - in place of what draws, where cairo or fftw is missing.
#include "tools/pictures.h"
#include "tools/spectrogram.h"

namespace tools {

struct Spectrogram_t::transform_t {};
Spectrogram_t::~Spectrogram_t() = default;

outcome_t CheckPictures(const std::string& subject) {
    return Failure(
        subject,
        "This ringmix was built without pictures: install libcairo2-dev and libfftw3-dev and build it "
        "with -DRINGMIX_PICTURES=ON");
}

outcome_t CheckPictureName(const std::string& path) { return CheckPictures(path); }

SignalView_t::SignalView_t(uint32_t channels, uint32_t rate, uint64_t, double highestValue)
    : rateHz(rate), envelope(channels, 0, 0, highestValue) {}
SignalView_t::~SignalView_t() = default;
void SignalView_t::Add(const double*, size_t) {}
void SignalView_t::Finish() {}

std::string RenderPage(const render_figures_t&, const SignalView_t&) { return {}; }
std::string DrawPlot(const std::string&, bool, const plot_t&, const SignalView_t&) { return {}; }
std::string DrawDifference(const std::string&, bool, const difference_t&) { return {}; }

}  // namespace tools
