// render_json.cpp - see the header.
#include "tools/render_json.h"

#include <cmath>

#include "tools/engine_rates.h"
#include "tools/sound_levels.h"

namespace tools {

namespace {

double Seconds(uint64_t frames) { return static_cast<double>(frames) / outputRateHz; }

double Milliseconds(double seconds) { return std::round(seconds * 1e6) / 1e3; }

json_t LevelsJson(const render_figures_t& figures) {
    json_t json = {{"peak_dbfs", DecibelJson(Decibels(figures.levels.Peak()))},
                   {"rms_dbfs", DecibelJson(Decibels(figures.levels.Rms()))},
                   {"full_scale_samples", figures.levels.FullScaleSamples()},
                   {"mix_peak_dbfs", DecibelJson(Decibels(figures.mixPeak))}};
    const char* const sides[] = {"left", "right"};
    for (size_t i = 0; i < figures.levels.channels.size(); ++i)
        json[sides[i]] = {{"peak_dbfs", DecibelJson(Decibels(figures.levels.channels[i].Peak()))},
                          {"full_scale_samples", figures.levels.channels[i].fullScaleSamples}};
    return json;
}

json_t LoudnessJson(const std::optional<loudness_t>& loudness) {
    if (!loudness) return nullptr;
    json_t momentary = json_t::array();
    for (const float lufs : loudness->momentaryLufs) momentary.push_back(DecibelJson(lufs));
    return {{"integrated_lufs", DecibelJson(loudness->integratedLufs)},
            {"range_lu", DecibelJson(loudness->rangeLu)},
            {"true_peak_dbtp", DecibelJson(loudness->truePeakDb)},
            {"loudest_momentary_lufs", DecibelJson(loudness->loudestMomentaryLufs)},
            {"momentary_every_seconds", momentarySeconds},
            {"momentary_lufs", momentary}};
}

json_t PlayJson(const play_t& play) {
    json_t json = {{"voice", nullptr},
                   {"sound", play.sounds},
                   {"line", play.line},
                   {"asked_seconds", play.askedSecond},
                   {"asked_frame", play.askedFrame},
                   {"heard_frame", nullptr},
                   {"ended_frame", play.endFrame},
                   {"frames", play.HeardFrames()},
                   {"end", EndingName(play.ending)},
                   {"end_line", nullptr},
                   {"rounds", play.rounds}};
    if (!play.voice.empty()) json["voice"] = play.voice;
    if (play.heardFrame) json["heard_frame"] = *play.heardFrame;
    if (play.endLine != 0) json["end_line"] = play.endLine;
    return json;
}

json_t PlaysJson(const render_figures_t& figures) {
    json_t plays = json_t::array();
    for (const play_t& play : figures.plays) plays.push_back(PlayJson(play));
    return {{"asked", figures.plays.size()},
            {"heard", figures.HeardPlays()},
            {"most_at_once", figures.mostVoices},
            {"plays", plays}};
}

json_t StreamsJson(const std::vector<stream_statistics_t>& streams) {
    json_t json = json_t::array();
    for (const stream_statistics_t& stream : streams) {
        json.push_back({{"sound", stream.name},
                        {"page_bytes", stream.pageBytes},
                        {"pages_read", stream.pagesRead},
                        {"bytes_read", stream.bytesRead},
                        {"pages_read_again", stream.pagesReadAgain},
                        {"most_resident_pages", stream.mostResidentPages},
                        {"late_frames", stream.lateFrames}});
    }
    return json;
}

// One list for each column: far shorter than a list of objects.
json_t HostFramesJson(const render_figures_t& figures) {
    const struct {
        const char* key;
        uint32_t host_frame_t::*member;
    } columns[] = {{"frame", &host_frame_t::frame},
                   {"host_frames", &host_frame_t::hostFrames},
                   {"stalled", &host_frame_t::stalled},
                   {"device_gone", &host_frame_t::deviceGone},
                   {"lead_frames", &host_frame_t::leadFrames},
                   {"lowest_lead_frames", &host_frame_t::lowestLeadFrames},
                   {"mixed_frames", &host_frame_t::mixedFrames},
                   {"lowest_mixed_frames", &host_frame_t::lowestMixedFrames},
                   {"clear_frames", &host_frame_t::clearFrames},
                   {"rewind_frames", &host_frame_t::rewindFrames},
                   {"underrun_frames", &host_frame_t::underrunFrames},
                   {"late_frames", &host_frame_t::lateFrames},
                   {"voices", &host_frame_t::voices}};
    json_t json;
    for (const auto& [key, member] : columns) {
        json_t& list = json[key] = json_t::array();
        for (const host_frame_t& frame : figures.hostFrames) list.push_back(frame.*member);
    }
    return json;
}

json_t MeasuredJson(const render_figures_t& figures) {
    json_t ticks = json_t::array();
    for (const host_frame_t& frame : figures.hostFrames) ticks.push_back(Milliseconds(frame.tickSeconds));
    return {{"median_tick_ms", Milliseconds(figures.MedianTickSeconds())},
            {"longest_tick_ms", Milliseconds(figures.LongestTickSeconds())},
            {"tick_ms", ticks}};
}

}  // namespace

json_t RenderJson(const render_figures_t& figures) {
    return {{"program", "ringmix " RINGMIX_VERSION},
            {"scene", figures.scene},
            {"frames", figures.frames},
            {"seconds", Seconds(figures.frames)},
            {"rate", outputRateHz},
            {"host_frame_rate", figures.hostFrameRate},
            {"hash", figures.hash},
            {"levels", LevelsJson(figures)},
            {"loudness", LoudnessJson(figures.loudness)},
            {"voices", PlaysJson(figures)},
            {"ring",
             {{"frames", figures.ringFrames},
              {"device_frames", figures.deviceFrames},
              {"underruns", figures.underruns},
              {"underrun_frames", figures.UnderrunFrames()},
              {"device_jumps", figures.deviceJumps}}},
            {"late_frames", figures.LateFrames()},
            {"streams", StreamsJson(figures.streams)},
            {"host_frames", HostFramesJson(figures)},
            {"measured", MeasuredJson(figures)}};
}

}  // namespace tools
