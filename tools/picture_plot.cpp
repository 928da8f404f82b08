// picture_plot.cpp - one sound, or one difference, on one sheet.
#include <algorithm>
#include <cmath>

#include "tools/engine_rates.h"
#include "tools/picture_signal.h"
#include "tools/sound_levels.h"

namespace tools {

namespace {

constexpr double sheetWidth = 1120, leftMargin = 72, rightMargin = 20;
constexpr double insideWidth = sheetWidth - leftMargin - rightMargin;

picture_format_t FormatOf(const std::string& path) {
    return path.ends_with(".svg") ? picture_format_t::svg : picture_format_t::png;
}

double HeadHeight(const std::vector<std::string>& facts) {
    return 44 + 17 * static_cast<double>(facts.size());
}

void DrawHead(Canvas_t& canvas, const std::string& title, const std::vector<std::string>& facts) {
    canvas.Text(leftMargin, 30, canvas.Shortened(title, insideWidth * 0.9, 17), canvas.Theme().ink,
                align_t::left, 17, true);
    double y = 52;
    for (const std::string& fact : facts) {
        canvas.Text(leftMargin, y, canvas.Shortened(fact, insideWidth, 12), canvas.Theme().faintInk,
                    align_t::left, 12);
        y += 17;
    }
}

// The end of the sound and its start side by side, where a loop joins them.
void DrawSeam(Canvas_t& canvas, const box_t& box, const plot_t& plot, const SignalView_t& sound) {
    const uint32_t channels = sound.Envelope().Channels();
    const theme_t& theme = canvas.Theme();
    double largest = 1e-4;
    size_t frames = 1;
    for (const std::vector<double>& channel : plot.seam) {
        frames = std::max(frames, channel.size());
        for (const double sample : channel) largest = std::max(largest, std::abs(sample));
    }
    const double msPerFrame = 1000.0 / sound.RateHz();
    const auto start = static_cast<double>(plot.seamStart);
    Chart_t chart(canvas, box,
                  {-start * msPerFrame, (static_cast<double>(frames) - start) * msPerFrame,
                   "ms from the seam of a loop", false, true},
                  {-largest * 1.05, largest * 1.05, "loop seam", false, true});
    chart.DrawBack();
    const color_t colors[] = {theme.blue, theme.amber};
    std::vector<legend_entry_t> legend;
    for (size_t channel = 0; channel < plot.seam.size(); ++channel) {
        std::vector<Chart_t::point_t> points;
        for (size_t i = 0; i < plot.seam[channel].size(); ++i)
            points.push_back({(static_cast<double>(i) - start) * msPerFrame, plot.seam[channel][i]});
        chart.Curve(points, colors[channel % 2]);
        legend.push_back(
            {ChannelName(static_cast<uint32_t>(channel), channels), colors[channel % 2], mark_t::line});
    }
    canvas.Line(chart.X(0.0), box.y, chart.X(0.0), box.Bottom(), theme.red);
    legend.push_back({"the sound's end, then its start", theme.red, mark_t::tick});
    chart.DrawFrame();
    chart.DrawLegend(legend);
}

// Expected and got of one channel above each other.
void DrawChannel(Canvas_t& canvas, const box_t& box, const difference_t& difference, size_t channel,
                 double largest) {
    const theme_t& theme = canvas.Theme();
    const auto curve = [&](const std::vector<double>& samples) {
        std::vector<Chart_t::point_t> points;
        for (size_t i = channel; i < samples.size(); i += 2)
            points.push_back({static_cast<double>(difference.windowFrame + i / 2), samples[i]});
        return points;
    };
    std::vector<Chart_t::point_t> gaps;
    for (size_t i = channel; i < std::min(difference.expected.size(), difference.got.size()); i += 2) {
        gaps.push_back({static_cast<double>(difference.windowFrame + i / 2),
                        difference.got[i] - difference.expected[i]});
    }
    const double first = static_cast<double>(difference.windowFrame);
    const double frames =
        static_cast<double>(std::max(difference.expected.size(), difference.got.size())) / 2;
    const bool isLast = channel == 1;
    Chart_t chart(canvas, box, {first, first + std::max(frames, 1.0), "frame", false, isLast},
                  {-largest, largest, channel == 0 ? "left" : "right", false, true});
    chart.DrawBack();
    chart.Curve(curve(difference.expected), theme.green, 3.0);
    chart.Curve(curve(difference.got), theme.blue);
    chart.Curve(gaps, theme.red);
    const double at = chart.X(static_cast<double>(difference.firstFrame));
    canvas.Line(at, box.y, at, box.Bottom(), theme.ink);
    chart.DrawFrame();
    if (channel > 0) return;
    chart.DrawLegend({{"expected", theme.green, mark_t::line},
                      {"got", theme.blue, mark_t::line},
                      {"difference: got - expected", theme.red, mark_t::line},
                      {"first frame that differs", theme.ink, mark_t::tick}});
}

void DrawWhole(Canvas_t& canvas, const box_t& box, const difference_t& difference) {
    const theme_t& theme = canvas.Theme();
    const double seconds = static_cast<double>(std::max<uint64_t>(difference.frames, 1)) / outputRateHz;
    Chart_t chart(canvas, box, {0.0, seconds, "seconds", false, true}, {-100.0, 0.0, "dBFS", false, true});
    chart.DrawBack();
    const double at = chart.X(static_cast<double>(difference.firstFrame) / outputRateHz);
    canvas.Line(at, box.y, at, box.Bottom(), theme.ink);  // behind the bars: there may be but one, right here
    const auto columns = static_cast<double>(difference.differenceByColumn.size());
    for (size_t i = 0; i < difference.differenceByColumn.size(); ++i) {
        if (difference.differenceByColumn[i] <= 0.0) continue;
        const double y = chart.Y(Decibels(difference.differenceByColumn[i]));
        canvas.Fill({box.x + static_cast<double>(i) * box.width / columns, y,
                     std::max(box.width / columns, 1.0), box.Bottom() - y},
                    theme.red);
    }
    chart.DrawFrame();
    chart.DrawLegend({{"largest difference, over the whole scene", theme.red, mark_t::area},
                      {"first frame that differs", theme.ink, mark_t::tick}});
}

}  // namespace

std::string DrawPlot(const std::string& path, bool isDark, const plot_t& plot, const SignalView_t& sound) {
    const uint32_t lanes = std::min(sound.Envelope().Channels(), mostLanes);
    const double waveHeight = std::max(150.0, 90.0 * lanes), spectrumHeight = 220, seamHeight = 130;
    const double waveTop = HeadHeight(plot.facts) + 40, spectrumTop = waveTop + waveHeight + 66;
    const double seamTop = spectrumTop + spectrumHeight + 66;
    const bool hasSeam = !plot.seam.empty();
    const double height = hasSeam ? seamTop + seamHeight + 40 : spectrumTop + spectrumHeight + 40;
    Canvas_t canvas(FormatOf(path), sheetWidth, height, isDark ? darkTheme : lightTheme, true);
    DrawHead(canvas, plot.title, plot.facts);
    DrawWaveform(canvas, {leftMargin, waveTop, insideWidth, waveHeight}, sound, true);
    DrawSpectrogram(canvas, {leftMargin, spectrumTop, insideWidth, spectrumHeight}, sound);
    if (hasSeam) DrawSeam(canvas, {leftMargin, seamTop, insideWidth, seamHeight}, plot, sound);
    return canvas.Finish();
}

std::string DrawDifference(const std::string& path, bool isDark, const difference_t& difference) {
    double largest = 0.01;  // below, the labels would not fit
    for (const std::vector<double>* samples : {&difference.expected, &difference.got}) {
        for (const double sample : *samples) largest = std::max(largest, std::abs(sample) * 1.05);
    }
    const double top = HeadHeight(difference.facts) + 40, lane = 150, laneGap = 14, wholeHeight = 110;
    const double wholeTop = top + 2 * lane + laneGap + 70;
    Canvas_t canvas(FormatOf(path), sheetWidth, wholeTop + wholeHeight + 40, isDark ? darkTheme : lightTheme,
                    true);
    DrawHead(canvas, difference.title, difference.facts);
    for (size_t channel = 0; channel < 2; ++channel) {
        const double y = top + static_cast<double>(channel) * (lane + laneGap);
        DrawChannel(canvas, {leftMargin, y, insideWidth, lane}, difference, channel, largest);
    }
    DrawWhole(canvas, {leftMargin, wholeTop, insideWidth, wholeHeight}, difference);
    return canvas.Finish();
}

}  // namespace tools
