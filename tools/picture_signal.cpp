// picture_signal.cpp - see the header.
#include "tools/picture_signal.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "tools/number_text.h"
#include "tools/sound_levels.h"
#include "tools/spectrogram.h"

namespace tools {

namespace {

constexpr double quietestDb = -100.0, loudestDb = 0.0;
constexpr double laneGap = 14.0;

// From silence to full scale, ever lighter, so that it reads without its hues. Its ground is dark in both
// themes.
constexpr std::array<color_t, 7> heat = {Hex(0x0b0c1e), Hex(0x2a1458), Hex(0x6b1d6f), Hex(0xb2325f),
                                         Hex(0xe8633b), Hex(0xfbb34c), Hex(0xfdf7c3)};

// In steps of a decibel, which nobody sees and which a PNG packs well.
uint32_t HeatAt(double decibels) {
    const double level =
        (std::round(std::clamp(decibels, quietestDb, loudestDb)) - quietestDb) / (loudestDb - quietestDb);
    const double at = level * (heat.size() - 1);
    const auto below = std::min(static_cast<size_t>(at), heat.size() - 2);
    const double share = at - static_cast<double>(below);
    const auto mix = [&](double color_t::*part) {
        const double value = heat[below].*part + (heat[below + 1].*part - heat[below].*part) * share;
        return static_cast<uint32_t>(std::lround(value * 255.0));
    };
    return mix(&color_t::red) << 16 | mix(&color_t::green) << 8 | mix(&color_t::blue);
}

void DrawRaster(Canvas_t& canvas, const box_t& box, uint32_t columns, uint32_t rows,
                const std::function<uint32_t(uint32_t column, uint32_t row)>& rgbAt) {
    cairo_surface_t* image =
        cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(columns), static_cast<int>(rows));
    if (cairo_surface_status(image) == CAIRO_STATUS_SUCCESS) {
        unsigned char* data = cairo_image_surface_get_data(image);
        const int stride = cairo_image_surface_get_stride(image);
        for (uint32_t row = 0; row < rows; ++row) {
            auto* line = reinterpret_cast<uint32_t*>(data + std::ptrdiff_t{row} * stride);
            for (uint32_t column = 0; column < columns; ++column) line[column] = rgbAt(column, row);
        }
        cairo_surface_mark_dirty(image);
    }
    cairo_t* cairo = canvas.Cairo();
    cairo_save(cairo);
    cairo_translate(cairo, box.x, box.y);
    cairo_scale(cairo, box.width / columns, box.height / rows);
    cairo_set_source_surface(cairo, image, 0, 0);
    cairo_pattern_set_filter(cairo_get_source(cairo), CAIRO_FILTER_BILINEAR);
    cairo_pattern_set_extend(cairo_get_source(cairo), CAIRO_EXTEND_PAD);  // or its edges would fade
    cairo_rectangle(cairo, 0, 0, columns, rows);
    cairo_fill(cairo);
    cairo_restore(cairo);
    cairo_surface_destroy(image);
}

void DrawHeatLegend(Canvas_t& canvas, const box_t& box) {
    constexpr double barWidth = 150, barHeight = 10;
    const theme_t& theme = canvas.Theme();
    const double top = box.y - 16;
    double at = box.x + canvas.Text(box.x, top + 9, FixedText(quietestDb, 0) + " dBFS", theme.ink) + 8;
    DrawRaster(canvas, {at, top, barWidth, barHeight}, 101, 1, [](uint32_t column, uint32_t) {
        return HeatAt(quietestDb + column * (loudestDb - quietestDb) / 100);
    });
    at += barWidth + 8;
    canvas.Text(at, top + 9, FixedText(loudestDb, 0) + " dBFS (a full-scale sine wave)", theme.ink);
}

// The lowest and highest sample of every column as one shape, and the RMS inside it.
void DrawLane(const Chart_t& chart, const Envelope_t& envelope, uint32_t channel) {
    Canvas_t& canvas = chart.Canvas();
    cairo_t* cairo = canvas.Cairo();
    const uint32_t columns = envelope.Columns();
    const double width = chart.Box().width / columns;
    // Wide columns have edges; thin ones need but one point.
    const bool areWide = width > 2.0;
    const auto point = [&](uint32_t i, double y, double edge) {
        cairo_line_to(cairo, chart.Box().x + (i + (areWide ? edge : 0.5)) * width, y);
    };
    const auto shape = [&](auto highest, auto lowest) {
        for (uint32_t i = 0; i < columns; ++i) {
            point(i, highest(i), 0.0);
            if (areWide) point(i, highest(i), 1.0);
        }
        for (uint32_t i = columns; i-- > 0;) {
            point(i, lowest(i), 1.0);
            if (areWide) point(i, lowest(i), 0.0);
        }
        cairo_close_path(cairo);
    };
    canvas.Clip(chart.Box());
    const auto highest = [&](uint32_t i) { return chart.Y(envelope.At(channel, i).highest) - 0.4; };
    const auto lowest = [&](uint32_t i) { return chart.Y(envelope.At(channel, i).lowest) + 0.4; };
    color_t color = chart.Theme().blue;
    color.alpha = 0.55;
    canvas.SetColor(color);
    shape(highest, lowest);
    cairo_fill(cairo);
    // Where the signal keeps to one side the RMS would pass its edge.
    canvas.SetColor(chart.Theme().blue);
    shape([&](uint32_t i) { return std::max(chart.Y(envelope.Rms(channel, i)), highest(i)); },
          [&](uint32_t i) { return std::min(chart.Y(-envelope.Rms(channel, i)), lowest(i)); });
    cairo_fill(cairo);
    for (uint32_t i = 0; i < columns; ++i) {
        if (envelope.At(channel, i).fullScaleSamples == 0) continue;
        const double x = chart.Box().x + i * width;
        canvas.Fill({x, chart.Box().y, std::max(width, 1.5), 4}, chart.Theme().red);
        canvas.Fill({x, chart.Box().Bottom() - 4, std::max(width, 1.5), 4}, chart.Theme().red);
    }
    canvas.Unclip();
}

// What all channels fit into: a quiet sound is drawn larger.
double RangeOf(const Envelope_t& envelope, uint32_t lanes) {
    double peak = 0.0;
    for (uint32_t column = 0; column < envelope.Columns(); ++column) {
        for (uint32_t channel = 0; channel < lanes; ++channel)
            peak = std::max(peak, envelope.At(channel, column).Peak());
    }
    for (const double range : {0.01, 0.02, 0.05, 0.1, 0.2, 0.5}) {
        if (peak <= range && peak > 0.0) return range;
    }
    return 1.0;
}

}  // namespace

std::string ChannelName(uint32_t channel, uint32_t channels) {
    if (channels == 1) return "mono";
    if (channels == 2) return channel == 0 ? "left" : "right";
    return "channel " + std::to_string(channel + 1);
}

void DrawWaveform(Canvas_t& canvas, const box_t& box, const SignalView_t& signal, bool hasTimes) {
    const Envelope_t& envelope = signal.Envelope();
    const uint32_t lanes = std::min(envelope.Channels(), mostLanes);
    const double range = RangeOf(envelope, lanes);
    const double height = (box.height - laneGap * (lanes - 1)) / lanes;
    for (uint32_t channel = 0; channel < lanes; ++channel) {
        const box_t lane{box.x, box.y + channel * (height + laneGap), box.width, height};
        const bool isLast = channel + 1 == lanes;
        Chart_t chart(canvas, lane, {0.0, signal.Seconds(), "seconds", false, hasTimes && isLast},
                      {-range, range, ChannelName(channel, envelope.Channels()), false, true});
        chart.DrawBack();
        if (envelope.Columns() > 0) DrawLane(chart, envelope, channel);
        chart.DrawFrame();
        if (channel > 0) continue;
        color_t soft = canvas.Theme().blue;
        soft.alpha = 0.55;
        chart.DrawLegend({{"lowest to highest sample (1 is full scale)", soft, mark_t::area},
                          {"RMS", canvas.Theme().blue, mark_t::area},
                          {"at full scale: clipped, most likely", canvas.Theme().red, mark_t::area}});
    }
}

void DrawSpectrogram(Canvas_t& canvas, const box_t& box, const SignalView_t& signal) {
    const Spectrogram_t& spectrogram = signal.Spectrogram();
    Chart_t chart(canvas, box, {0.0, signal.Seconds(), "seconds", false, true},
                  {Spectrogram_t::lowestHz, spectrogram.HighestHz(), "Hz", true, true});
    chart.DrawBack();
    const uint32_t columns = spectrogram.Columns(), rows = spectrogram.Rows();
    if (columns > 0 && signal.Envelope().Frames() > 0) {
        DrawRaster(canvas, box, columns, rows, [&](uint32_t column, uint32_t row) {
            return HeatAt(spectrogram.At(column, rows - 1 - row));
        });
    }
    chart.DrawFrame();
    DrawHeatLegend(canvas, box);
}

void DrawLoudness(Canvas_t& canvas, const box_t& box, const loudness_t& loudness, double seconds) {
    constexpr double quietestLufs = -60.0, loudestLufs = 0.0;
    const theme_t& theme = canvas.Theme();
    Chart_t chart(canvas, box, {0.0, seconds, "seconds", false, true},
                  {quietestLufs, loudestLufs, "LUFS", false, true});
    chart.DrawBack();
    std::vector<Chart_t::point_t> points;
    for (size_t i = 0; i < loudness.momentaryLufs.size(); ++i)
        points.push_back({(static_cast<double>(i) + 1) * momentarySeconds, loudness.momentaryLufs[i]});
    chart.Curve(points, theme.blue);
    std::vector<legend_entry_t> legend = {
        {"momentary loudness (the 0.4 s before)", theme.blue, mark_t::line}};
    if (std::isfinite(loudness.integratedLufs)) {
        const double y = loudness.integratedLufs;
        chart.Curve({{0.0, y}, {seconds, y}}, theme.amber);
        legend.push_back({"integrated: " + FixedText(y, 1) + " LUFS", theme.amber, mark_t::line});
    }
    chart.DrawFrame();
    chart.DrawLegend(legend);
}

}  // namespace tools
