// pictures.h - what the program can draw. A program that was built without the libraries for it says so.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/outcome.h"
#include "tools/signal.h"

namespace tools {

struct render_figures_t;
class Spectrogram_t;

// Fails, with what is missing, if this program draws nothing. `subject` is what asked for a picture.
outcome_t CheckPictures(const std::string& subject);

// The same for a file whose name does not end in .png or .svg.
outcome_t CheckPictureName(const std::string& path);

// A signal of known length on its way into a picture.
class SignalView_t {
  public:
    SignalView_t(uint32_t channels, uint32_t rateHz, uint64_t frames, double highestValue);
    SignalView_t(const SignalView_t&) = delete;
    SignalView_t& operator=(const SignalView_t&) = delete;
    ~SignalView_t();

    void Add(const double* interleaved, size_t frames);
    void Finish();

    uint32_t RateHz() const { return rateHz; }
    double Seconds() const { return static_cast<double>(envelope.Frames()) / rateHz; }
    const Envelope_t& Envelope() const { return envelope; }
    const Spectrogram_t& Spectrogram() const { return *spectrogram; }

  private:
    uint32_t rateHz;
    Envelope_t envelope;
    std::unique_ptr<Spectrogram_t> spectrogram;
};

// One page of HTML with everything in it, for screens in light and dark.
std::string RenderPage(const render_figures_t& figures, const SignalView_t& output);

struct plot_t {
    std::string title;
    std::vector<std::string> facts;  // lines beneath it
    // Of the first channels: the last samples of the sound and then its first ones, where a loop joins them.
    std::vector<std::vector<double>> seam;
    size_t seamStart = 0;  // where the first ones begin
};

// The bytes of a PNG or SVG file, as the name ends; empty if there is no memory for it.
std::string DrawPlot(const std::string& path, bool isDark, const plot_t& plot, const SignalView_t& sound);

struct difference_t {
    std::string title;
    std::vector<std::string> facts;
    uint64_t firstFrame = 0;                 // that differs
    uint64_t windowFrame = 0;                // the first of these samples, interleaved stereo, full scale 1.0
    std::vector<double> expected, got;       // one may end before the other
    uint64_t frames = 0;                     // of the longer one
    std::vector<double> differenceByColumn;  // the largest difference of each stretch of the whole
};

std::string DrawDifference(const std::string& path, bool isDark, const difference_t& difference);

}  // namespace tools
