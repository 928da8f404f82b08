// picture_page.cpp - the page of a render: figures, charts in both dresses, tables. Nothing is fetched from
// anywhere.
#include <cmath>
#include <functional>

#include "tools/engine_rates.h"
#include "tools/number_text.h"
#include "tools/picture_render.h"
#include "tools/picture_signal.h"
#include "tools/pictures.h"
#include "tools/render_figures.h"
#include "tools/sound_levels.h"

namespace tools {

namespace {

constexpr double sheetWidth = 1120, leftMargin = 132, rightMargin = 14;
constexpr double topMargin = 30, bottomMargin = 36;
constexpr size_t mostTableRows = 500;

constexpr char style[] = R"(
:root { color-scheme: light dark; --paper: #fff; --ink: #1b1f24; --faint: #57606a; --line: #dde1e6; --tile: #f6f7f9; }
@media (prefers-color-scheme: dark) {
  :root { --paper: #14171c; --ink: #e8ebef; --faint: #a3acb8; --line: #313844; --tile: #1b1f26; }
}
body { margin: 0; background: var(--paper); color: var(--ink); font: 15px/1.5 system-ui, sans-serif; }
main { max-width: 1120px; margin: 0 auto; padding: 24px 20px 60px; }
h1 { font-size: 26px; margin: 0; overflow-wrap: anywhere; }
h2 { font-size: 17px; margin: 34px 0 2px; }
p { margin: 2px 0 10px; color: var(--faint); max-width: 62em; }
dl { display: grid; grid-template-columns: repeat(auto-fill, minmax(230px, 1fr)); gap: 10px; margin: 18px 0; }
dl div { background: var(--tile); border: 1px solid var(--line); border-radius: 8px; padding: 8px 12px; }
dt { color: var(--faint); font-size: 13px; }
dd { margin: 0; font-size: 20px; font-variant-numeric: tabular-nums; }
dd small { display: block; font-size: 13px; color: var(--faint); }
figure { margin: 0; overflow-x: auto; }
img { display: block; width: 100%; min-width: 640px; height: auto; }
table { border-collapse: collapse; font-size: 14px; font-variant-numeric: tabular-nums; }
th, td { text-align: left; padding: 3px 16px 3px 0; border-bottom: 1px solid var(--line); overflow-wrap: anywhere; }
th { color: var(--faint); font-weight: normal; vertical-align: bottom; }
.number { text-align: right; }
.scroll { overflow-x: auto; }
code { font-size: 13px; overflow-wrap: anywhere; }
@media print { img { min-width: 0; } figure, tr { break-inside: avoid; } }
)";

std::string Escaped(std::string_view text) {
    std::string escaped;
    for (const char c : CleanText(text)) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

std::string Base64(std::string_view bytes) {
    constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (size_t i = 0; i < bytes.size(); i += 3) {
        uint32_t three = 0;
        for (size_t k = 0; k < 3; ++k)
            three = three << 8 | (i + k < bytes.size() ? static_cast<uint8_t>(bytes[i + k]) : 0u);
        for (size_t k = 0; k < 4; ++k)
            text += i + k > bytes.size() ? '=' : digits[three >> (18 - 6 * k) & 63];
    }
    return text;
}

std::string Tile(const std::string& title, const std::string& value, const std::string& more) {
    return "<div><dt>" + Escaped(title) + "</dt><dd>" + Escaped(value) +
           (more.empty() ? "" : "<small>" + Escaped(more) + "</small>") + "</dd></div>\n";
}

std::string DbText(double decibels, const char* unit) {
    return std::isfinite(decibels) ? FixedText(decibels, 1) + " " + unit : "silence";
}

std::string MsText(uint64_t frames) {
    return FixedText(static_cast<double>(frames) * 1000.0 / outputRateHz, 1) + " ms";
}

std::string SecondsText(uint64_t frames) { return FixedText(static_cast<double>(frames) / outputRateHz, 3); }

std::string ClippingMore(const render_figures_t& figures) {
    const std::string mix = "the mix reached " + DbText(Decibels(figures.mixPeak), "dBFS");
    return figures.levels.FullScaleSamples() == 0 ? "nothing at full scale; " + mix
                                                  : mix + " before it was cut";
}

std::string Tiles(const render_figures_t& figures) {
    std::string html = "<dl>\n";
    html += Tile("Length", SecondsText(figures.frames) + " s", CountText(figures.frames, "frame", "frames"));
    html += Tile("Peak", DbText(Decibels(figures.levels.Peak()), "dBFS"),
                 "RMS " + DbText(Decibels(figures.levels.Rms()), "dBFS"));
    if (figures.loudness) {
        html += Tile("Loudness, integrated", DbText(figures.loudness->integratedLufs, "LUFS"),
                     "range " + FixedText(figures.loudness->rangeLu, 1) + " LU, true peak " +
                         DbText(figures.loudness->truePeakDb, "dBTP"));
    } else {
        html += Tile("Loudness", "not measured", "built without libebur128");
    }
    html += Tile("Clipping", CountText(figures.levels.FullScaleSamples(), "sample", "samples"),
                 ClippingMore(figures));
    html +=
        Tile("Voices",
             std::to_string(figures.HeardPlays()) + " of " + std::to_string(figures.plays.size()) + " heard",
             "up to " + std::to_string(figures.mostVoices) + " at once");
    html += Tile("Late host", MsText(figures.UnderrunFrames()),
                 "of silence, in " + CountText(figures.underruns, "pass", "passes"));
    html += Tile("Late stream data", MsText(figures.LateFrames()),
                 figures.streams.empty() ? "no streams"
                                         : "in " + CountText(figures.streams.size(), "stream", "streams"));
    html +=
        Tile("Cost of a tick", FixedText(figures.MedianTickSeconds() * 1e3, 3) + " ms",
             "median; longest " + FixedText(figures.LongestTickSeconds() * 1e3, 3) + " ms; measured here");
    return html + "</dl>\n";
}

std::string Source(const std::string& file) { return "data:image/svg+xml;base64," + Base64(file); }

// One chart of the page: what it is called, what to know when reading it, how high its inside is, how it is
// drawn.
struct figure_t {
    const char* title;
    std::string text;
    double height;
    std::function<void(Canvas_t&, const box_t&)> draw;
};

std::string Figure(const figure_t& figure) {
    const box_t box{leftMargin, topMargin, sheetWidth - leftMargin - rightMargin, figure.height};
    const double sheetHeight = topMargin + figure.height + bottomMargin;
    std::string sources[2];
    for (const bool isDark : {false, true}) {
        Canvas_t canvas(picture_format_t::svg, sheetWidth, sheetHeight, isDark ? darkTheme : lightTheme,
                        false);
        figure.draw(canvas, box);
        sources[isDark ? 1 : 0] = Source(canvas.Finish());
    }
    return "<h2>" + Escaped(figure.title) + "</h2>\n<p>" + Escaped(figure.text) +
           "</p>\n<figure><picture><source media=\"(prefers-color-scheme: dark)\" srcset=\"" + sources[1] +
           "\"/><img alt=\"" + Escaped(figure.title) + "\" width=\"" + FixedText(sheetWidth, 0) +
           "\" height=\"" + FixedText(sheetHeight, 0) + "\" src=\"" + sources[0] +
           "\"/></picture></figure>\n";
}

std::string EndingText(const play_t& play) {
    const std::string where = play.endLine != 0 ? " by line " + std::to_string(play.endLine) : "";
    switch (play.ending) {
        case ending_t::played:
            return "played to its end";
        case ending_t::stopped:
            return "stopped" + where;
        case ending_t::freed:
            return "freed" + where;
        case ending_t::cutShort:
            return "cut short: its sound could not go on";
        case ending_t::sceneEnd:
            break;
    }
    return "still playing at the scene's end";
}

using cells_t = std::vector<std::string>;

// Which columns are numbers is said once.
std::string Table(const cells_t& titles, const std::vector<bool>& areNumbers,
                  const std::vector<cells_t>& rows) {
    const auto line = [&](const char* tag, const cells_t& cells) {
        std::string html = "<tr>";
        for (size_t i = 0; i < cells.size(); ++i) {
            html += std::string("<") + tag + (areNumbers[i] ? " class=\"number\">" : ">") +
                    Escaped(cells[i]) + "</" + tag + ">";
        }
        return html + "</tr>\n";
    };
    std::string html = "<div class=\"scroll\"><table>\n" + line("th", titles);
    for (const cells_t& row : rows) html += line("td", row);
    return html + "</table></div>\n";
}

std::string PlaysTable(const render_figures_t& figures) {
    if (figures.plays.empty()) return "<p>No voice was asked to play.</p>\n";
    std::vector<cells_t> rows;
    for (const play_t& play : figures.plays) {
        if (rows.size() == mostTableRows) break;
        const double asked = play.askedSecond;
        cells_t row = {play.voice.empty() ? "(one-shot)" : play.voice, play.sounds, std::to_string(play.line),
                       FixedText(asked, 3)};
        if (play.heardFrame) {
            const double heard = static_cast<double>(*play.heardFrame) / outputRateHz;
            row.insert(row.end(), {FixedText(heard, 3), FixedText((heard - asked) * 1000.0, 1)});
        } else {
            row.insert(row.end(), {"never", ""});
        }
        row.insert(row.end(), {SecondsText(play.endFrame), EndingText(play)});
        rows.push_back(std::move(row));
    }
    const size_t left = figures.plays.size() - rows.size();
    return Table({"voice", "sound", "line", "asked, s", "heard, s", "after, ms", "ended, s", "why it ended"},
                 {false, false, true, true, true, true, true, false}, rows) +
           (left > 0 ? "<p>" + std::to_string(left) + " more are in the JSON.</p>\n" : "");
}

std::string StreamsTable(const render_figures_t& figures) {
    if (figures.streams.empty()) return {};
    std::vector<cells_t> rows;
    for (const stream_statistics_t& stream : figures.streams) {
        cells_t row = {stream.name};
        for (const uint64_t number : {stream.pageBytes, stream.pagesRead, stream.bytesRead,
                                      stream.pagesReadAgain, stream.mostResidentPages, stream.lateFrames})
            row.push_back(std::to_string(number));
        rows.push_back(std::move(row));
    }
    return "<h2>Streams</h2>\n" + Table({"stream", "page bytes", "pages read", "bytes read", "read twice",
                                         "most resident", "late frames"},
                                        {false, true, true, true, true, true, true}, rows);
}

std::vector<figure_t> FiguresOf(const render_figures_t& figures, const SignalView_t& output) {
    std::vector<figure_t> all = {
        {"Waveform", "What the device played, both channels, 1 being full scale.", 210,
         [&](Canvas_t& canvas, const box_t& box) { DrawWaveform(canvas, box, output, true); }},
        {"Spectrum over time", "Both channels together, in windows of 46 ms.", 220,
         [&](Canvas_t& canvas, const box_t& box) { DrawSpectrogram(canvas, box, output); }}};
    if (figures.loudness) {
        all.push_back({"Loudness", "As EBU R 128 defines it: 0 is full scale.", 130,
                       [&](Canvas_t& canvas, const box_t& box) {
                           DrawLoudness(canvas, box, *figures.loudness, output.Seconds());
                       }});
    }
    const size_t playsLeftOut = PlaysWithoutRow(figures);
    all.push_back(
        {"Voices",
         "One row for each voice. A bar begins where the voice is first heard and ends behind its "
         "last frame." +
             (playsLeftOut > 0 ? " There is no room for " +
                                     CountText(playsLeftOut, "more play", "more plays") + ": see the table."
                               : std::string()),
         VoicesHeight(figures),
         [&](Canvas_t& canvas, const box_t& box) { DrawVoices(canvas, box, figures); }});
    all.push_back(
        {"Ring",
         "How far ahead of what is heard the engine has come: the room that a late host has. It is highest "
         "behind a tick and falls until the next one. Where green comes down to blue, the host was too late.",
         180, [&](Canvas_t& canvas, const box_t& box) { DrawRing(canvas, box, figures); }});
    if (figures.UnderrunFrames() + figures.LateFrames() > 0) {
        all.push_back({"Late data", "What was not there when it was needed, host frame by host frame.", 110,
                       [&](Canvas_t& canvas, const box_t& box) { DrawLate(canvas, box, figures); }});
    }
    all.push_back(
        {"Cost per tick",
         "Wall-clock time of MixVoices with the pass that it waits for. The only figure here that is "
         "not the same on every run.",
         120, [&](Canvas_t& canvas, const box_t& box) { DrawTickCosts(canvas, box, figures); }});
    return all;
}

}  // namespace

std::string RenderPage(const render_figures_t& figures, const SignalView_t& output) {
    std::string html =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\"/>\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"/>\n<title>" +
        Escaped(figures.scene) + "</title>\n<style>" + style + "</style>\n</head>\n<body>\n<main>\n";
    html += "<h1>" + Escaped(figures.scene) + "</h1>\n<p>rendered by ringmix " RINGMIX_VERSION ", " +
            Escaped(FixedText(figures.hostFrameRate,
                              figures.hostFrameRate == std::floor(figures.hostFrameRate) ? 0 : 3)) +
            " host frames a second, 16-bit stereo at 44100 Hz</p>\n";
    html += Tiles(figures);
    for (const figure_t& figure : FiguresOf(figures, output)) html += Figure(figure);
    html += "<h2>Every play</h2>\n" + PlaysTable(figures) + StreamsTable(figures);
    html +=
        "<h2>Hash</h2>\n<p>SHA-256 of the samples, as <code>ringmix verify --hash</code> prints it and takes "
        "it:<br/><code>" +
        Escaped(figures.hash) + "</code></p>\n</main>\n</body>\n</html>\n";
    return html;
}

}  // namespace tools
