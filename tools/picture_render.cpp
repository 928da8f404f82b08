// picture_render.cpp - see the header.
#include "tools/picture_render.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "tools/engine_rates.h"
#include "tools/number_text.h"

namespace tools {

namespace {

constexpr double rowHeight = 22, barHeight = 14;
constexpr size_t mostVoiceRows = 40;  // voices beyond are left to the table and to the JSON
constexpr double msPerFrame = 1000.0 / outputRateHz;

double Seconds(uint32_t frames) { return static_cast<double>(frames) / outputRateHz; }
double SceneSeconds(const render_figures_t& figures) { return Seconds(figures.frames); }

axis_t TimeAxis(const render_figures_t& figures) {
    return {0.0, SceneSeconds(figures), "seconds", false, true};
}

// A row for each voice, and as many as it takes for the one-shots of a sound, in order of appearance.
struct rows_t {
    std::vector<std::string> names;
    std::vector<size_t> rowOfPlay;  // mostVoiceRows: it has none
};

rows_t RowsOf(const render_figures_t& figures) {
    rows_t rows;
    std::map<std::string, std::vector<size_t>> rowsOfName;
    std::vector<uint32_t> busyUntil;  // by row
    for (const play_t& play : figures.plays) {
        const std::string name = play.voice.empty() ? play.sounds + " (one-shot)" : play.voice;
        std::vector<size_t>& own = rowsOfName[name];
        auto row = std::find_if(own.begin(), own.end(), [&](size_t index) {
            return !play.voice.empty() || busyUntil[index] <= play.askedFrame;
        });
        if (row == own.end()) {
            if (rows.names.size() == mostVoiceRows) {
                rows.rowOfPlay.push_back(mostVoiceRows);
                continue;
            }
            own.push_back(rows.names.size());
            row = own.end() - 1;
            rows.names.push_back(name);
            busyUntil.push_back(0);
        }
        busyUntil[*row] = std::max(busyUntil[*row], play.endFrame);
        rows.rowOfPlay.push_back(*row);
    }
    return rows;
}

color_t EndingColor(const theme_t& theme, ending_t ending) {
    switch (ending) {
        case ending_t::played:
            return theme.green;
        case ending_t::stopped:
            return theme.amber;
        case ending_t::freed:
            return theme.violet;
        case ending_t::cutShort:
            return theme.red;
        case ending_t::sceneEnd:
            break;
    }
    return theme.blue;
}

// The scene's bad days, behind everything else.
void DrawBadDays(const Chart_t& chart, const render_figures_t& figures) {
    for (const host_frame_t& frame : figures.hostFrames) {
        const double from = Seconds(frame.frame);
        const double to = from + frame.hostFrames / figures.hostFrameRate;
        color_t color = frame.deviceGone > 0 ? chart.Theme().red : chart.Theme().grey;
        color.alpha = 0.25;
        if (frame.stalled + frame.deviceGone > 0)
            chart.Band(from, std::min(to, SceneSeconds(figures)), color);
    }
}

void AddBadDaysLegend(std::vector<legend_entry_t>& legend, const theme_t& theme,
                      const render_figures_t& figures) {
    const auto any = [&](uint32_t host_frame_t::*member) {
        return std::any_of(figures.hostFrames.begin(), figures.hostFrames.end(),
                           [member](const host_frame_t& frame) { return frame.*member > 0; });
    };
    const auto soft = [](color_t color) { return color_t{color.red, color.green, color.blue, 0.25}; };
    if (any(&host_frame_t::stalled)) legend.push_back({"host stalled", soft(theme.grey), mark_t::area});
    if (any(&host_frame_t::deviceGone)) legend.push_back({"device lost", soft(theme.red), mark_t::area});
}

void DrawPlay(const Chart_t& chart, const play_t& play, double top) {
    Canvas_t& canvas = chart.Canvas();
    const theme_t& theme = chart.Theme();
    const double asked = chart.X(Seconds(play.askedFrame));
    if (play.heardFrame) {
        const double left = chart.X(Seconds(*play.heardFrame));
        const box_t bar{left, top, std::max(chart.X(Seconds(play.endFrame)) - left, 2.0), barHeight};
        color_t color = EndingColor(theme, play.ending);
        canvas.Fill({bar.x, bar.y, bar.width, bar.height}, {color.red, color.green, color.blue, 0.30});
        canvas.Fill({bar.x, bar.Bottom() - 3, bar.width, 3}, color);
        canvas.Fill({bar.Right() - 2, bar.y, 2, bar.height}, color);
        const std::string label =
            play.rounds > 0 ? play.sounds + " ×" + std::to_string(play.rounds + 1) : play.sounds;
        if (bar.width > 24)
            canvas.Text(left + 5, top + 9, canvas.Shortened(label, bar.width - 8, 9.5), theme.ink,
                        align_t::left, 9.5);
    }
    canvas.Line(asked, top - 2, asked, top + barHeight + 2, theme.ink, 1.5);
    if (play.heardFrame) return;
    canvas.Line(asked - 3, top + 3, asked + 5, top + 11, theme.red, 1.5);
    canvas.Line(asked - 3, top + 11, asked + 5, top + 3, theme.red, 1.5);
}

// Points of a value of the host frames, in milliseconds.
std::vector<Chart_t::point_t> FramesCurve(const render_figures_t& figures, uint32_t host_frame_t::*value) {
    std::vector<Chart_t::point_t> points;
    for (const host_frame_t& frame : figures.hostFrames)
        points.push_back({Seconds(frame.frame), frame.*value * msPerFrame});
    return points;
}

// As fine as a picture can show: of each stretch, either of two values by turns.
std::vector<Chart_t::point_t> SawTooth(const render_figures_t& figures, uint32_t host_frame_t::*high,
                                       uint32_t host_frame_t::*low) {
    std::vector<Chart_t::point_t> points;
    for (const host_frame_t& frame : figures.hostFrames) {
        points.push_back({Seconds(frame.frame), frame.*high * msPerFrame});
        points.push_back(
            {Seconds(frame.frame) + frame.hostFrames / figures.hostFrameRate, frame.*low * msPerFrame});
    }
    return points;
}

// Keeps at most `most` points in x order, lowest and highest of each stretch.
std::vector<Chart_t::point_t> Thinned(const std::vector<Chart_t::point_t>& points, size_t most) {
    if (points.size() <= most) return points;
    std::vector<Chart_t::point_t> thin;
    const size_t each = (points.size() + most / 2 - 1) / (most / 2);
    const auto isLower = [](const Chart_t::point_t& one, const Chart_t::point_t& other) {
        return one.y < other.y;
    };
    for (size_t i = 0; i < points.size(); i += each) {
        const auto first = points.begin() + static_cast<std::ptrdiff_t>(i);
        const auto last = points.begin() + static_cast<std::ptrdiff_t>(std::min(i + each, points.size()));
        auto [low, high] = std::minmax_element(first, last, isLower);
        if (high < low) std::swap(low, high);
        thin.push_back(*low);
        thin.push_back(*high);
    }
    return thin;
}

constexpr size_t mostPoints = 2400;

}  // namespace

double VoicesHeight(const render_figures_t& figures) {
    return rowHeight * static_cast<double>(std::max<size_t>(RowsOf(figures).names.size(), 1)) + 6;
}

size_t PlaysWithoutRow(const render_figures_t& figures) {
    const std::vector<size_t> rowOfPlay = RowsOf(figures).rowOfPlay;
    return static_cast<size_t>(std::count(rowOfPlay.begin(), rowOfPlay.end(), mostVoiceRows));
}

void DrawVoices(Canvas_t& canvas, const box_t& box, const render_figures_t& figures) {
    const theme_t& theme = canvas.Theme();
    const rows_t rows = RowsOf(figures);
    Chart_t chart(canvas, box, TimeAxis(figures), {0.0, 1.0, "", false, false});
    chart.DrawBack();
    DrawBadDays(chart, figures);
    for (size_t row = 0; row < rows.names.size(); ++row) {
        const double y = box.y + rowHeight * static_cast<double>(row) + 4;
        canvas.Text(box.x - 8, y + 11, canvas.Shortened(rows.names[row], box.x - 14), theme.ink,
                    align_t::right);
        if (row > 0) canvas.Line(box.x, y - 2.5, box.Right(), y - 2.5, theme.grid);
    }
    canvas.Clip({box.x - 4, box.y, box.width + 4, box.height});
    for (size_t i = 0; i < figures.plays.size(); ++i) {
        if (rows.rowOfPlay[i] == mostVoiceRows) continue;
        DrawPlay(chart, figures.plays[i], box.y + rowHeight * static_cast<double>(rows.rowOfPlay[i]) + 4);
    }
    canvas.Unclip();
    chart.DrawFrame();
    std::vector<legend_entry_t> legend = {{"asked to play", theme.ink, mark_t::tick}};
    const struct {
        ending_t ending;
        const char* text;
    } endings[] = {{ending_t::played, "heard, played to its end"},
                   {ending_t::stopped, "stopped"},
                   {ending_t::freed, "freed"},
                   {ending_t::cutShort, "cut short"},
                   {ending_t::sceneEnd, "still playing at the scene's end"}};
    for (const auto& told : endings) {
        const bool isThere = std::any_of(figures.plays.begin(), figures.plays.end(), [&](const play_t& play) {
            return play.heardFrame && play.ending == told.ending;
        });
        if (isThere) legend.push_back({told.text, EndingColor(theme, told.ending), mark_t::area});
    }
    if (figures.HeardPlays() < figures.plays.size())
        legend.push_back({"×: never heard", theme.red, mark_t::dot});
    AddBadDaysLegend(legend, theme, figures);
    chart.DrawLegend(legend);
}

void DrawRing(Canvas_t& canvas, const box_t& box, const render_figures_t& figures) {
    const theme_t& theme = canvas.Theme();
    uint32_t furthest = 1, longestRewind = 0;
    for (const host_frame_t& frame : figures.hostFrames) {
        furthest = std::max(furthest, frame.clearFrames);
        longestRewind = std::max(longestRewind, frame.rewindFrames);
    }
    Chart_t chart(canvas, box, TimeAxis(figures),
                  {0.0, furthest * msPerFrame * 1.08, "ms ahead", false, true});
    chart.DrawBack();
    DrawBadDays(chart, figures);
    chart.Curve(Thinned(FramesCurve(figures, &host_frame_t::clearFrames), mostPoints), theme.grey);
    chart.Curve(
        Thinned(SawTooth(figures, &host_frame_t::mixedFrames, &host_frame_t::lowestMixedFrames), mostPoints),
        theme.green);
    chart.Curve(
        Thinned(SawTooth(figures, &host_frame_t::leadFrames, &host_frame_t::lowestLeadFrames), mostPoints),
        theme.blue);
    for (const host_frame_t& frame : figures.hostFrames) {
        if (frame.rewindFrames == 0) continue;
        const double x = chart.X(Seconds(frame.frame));
        const uint32_t from =
            frame.leadFrames > frame.rewindFrames ? frame.leadFrames - frame.rewindFrames : 0;
        canvas.Line(x, chart.Y(from * msPerFrame), x, chart.Y(frame.leadFrames * msPerFrame), theme.amber,
                    2.0);
    }
    for (const host_frame_t& frame : figures.hostFrames) {
        if (frame.underrunFrames > 0)
            canvas.Fill({chart.X(Seconds(frame.frame)), box.Bottom() - 5, 3, 5}, theme.red);
    }
    chart.DrawFrame();
    std::vector<legend_entry_t> legend = {{"in the device (the lead)", theme.blue, mark_t::line},
                                          {"mixed", theme.green, mark_t::line},
                                          {"reach of what is mixed far ahead", theme.grey, mark_t::line}};
    if (longestRewind > 0) legend.push_back({"start mixed into what was sent", theme.amber, mark_t::tick});
    if (figures.UnderrunFrames() > 0) legend.push_back({"silence sent instead", theme.red, mark_t::area});
    AddBadDaysLegend(legend, theme, figures);
    chart.DrawLegend(legend);
}

void DrawLate(Canvas_t& canvas, const box_t& box, const render_figures_t& figures) {
    const theme_t& theme = canvas.Theme();
    uint32_t most = 1;
    for (const host_frame_t& frame : figures.hostFrames)
        most = std::max({most, frame.underrunFrames, frame.lateFrames});
    Chart_t chart(canvas, box, TimeAxis(figures), {0.0, most * msPerFrame * 1.1, "ms late", false, true});
    chart.DrawBack();
    DrawBadDays(chart, figures);
    for (const host_frame_t& frame : figures.hostFrames) {
        const double left = chart.X(Seconds(frame.frame));
        const double width =
            std::max(chart.X(Seconds(frame.frame) + frame.hostFrames / figures.hostFrameRate) - left, 2.0);
        const auto bar = [&](uint32_t frames, const color_t& color, double from) {
            const double y = chart.Y(frames * msPerFrame);
            if (frames > 0) canvas.Fill({left + width * from, y, width / 2, box.Bottom() - y}, color);
        };
        bar(frame.underrunFrames, theme.red, 0.0);
        bar(frame.lateFrames, theme.amber, 0.5);
    }
    chart.DrawFrame();
    std::vector<legend_entry_t> legend = {
        {"silence sent: the host was late", theme.red, mark_t::area},
        {"stream data mixed before they had arrived", theme.amber, mark_t::area}};
    AddBadDaysLegend(legend, theme, figures);
    chart.DrawLegend(legend);
}

void DrawTickCosts(Canvas_t& canvas, const box_t& box, const render_figures_t& figures) {
    const theme_t& theme = canvas.Theme();
    const double median = figures.MedianTickSeconds() * 1e3;
    std::vector<Chart_t::point_t> points;
    for (const host_frame_t& frame : figures.hostFrames)
        points.push_back({Seconds(frame.frame), frame.tickSeconds * 1e3});
    // Whoever else runs on the machine makes single ticks very long: the axis is for the others.
    const double longest = figures.LongestTickSeconds() * 1e3;
    const double top = std::max(std::min(longest * 1.1, median * 8.0), 1e-3);
    Chart_t chart(canvas, box, TimeAxis(figures), {0.0, top, "ms", false, true});
    chart.DrawBack();
    DrawBadDays(chart, figures);
    chart.Curve(Thinned(points, mostPoints), theme.violet, 1.0);
    chart.Curve({{0.0, median}, {SceneSeconds(figures), median}}, theme.amber);
    chart.DrawFrame();
    const std::string beyond =
        longest > top ? "; the longest, beyond the axis: " + FixedText(longest, 1) + " ms" : "";
    std::vector<legend_entry_t> legend = {
        {"each tick, measured on this machine" + beyond, theme.violet, mark_t::line},
        {"median: " + FixedText(median, 3) + " ms, " + FixedText(median * figures.hostFrameRate / 10, 2) +
             " % of a host frame of " + FixedText(1000.0 / figures.hostFrameRate, 1) + " ms",
         theme.amber, mark_t::line}};
    AddBadDaysLegend(legend, theme, figures);
    chart.DrawLegend(legend);
}

}  // namespace tools
