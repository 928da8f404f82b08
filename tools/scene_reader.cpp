// scene_reader.cpp - which keys a scene has. A new key is one line here and one field in scene.h.
#include <cmath>

#include "tools/input_file.h"
#include "tools/scene.h"
#include "tools/toml_table.h"
#include "tools/wave_header.h"

namespace tools {

namespace {

constexpr size_t maxSceneBytes = 64u << 20;

scene_sound_t ReadSoundTable(TomlTable_t table, uint32_t line) {
    scene_sound_t sound;
    sound.line = line;
    table.Require("file", sound.file);
    table.Read("name", sound.name);
    table.Read("archive", sound.archive);
    table.Read("store", sound.store);
    table.Finish();
    return sound;
}

scene_archive_t ReadArchiveTable(TomlTable_t table, uint32_t line) {
    scene_archive_t archive;
    archive.line = line;
    table.Require("file", archive.file);
    table.Read("name", archive.name);
    table.Finish();
    return archive;
}

scene_event_t ReadEventTable(TomlTable_t table, uint32_t line) {
    scene_event_t event;
    event.line = line;
    table.Require("at", event.at);
    table.Read("voice", event.voice);
    table.Read("sound", event.sound);
    table.Read("sliding", event.sliding);
    table.Read("mix_mode", event.mixMode);
    table.Read("queue", event.queue);
    table.ReadSlide("slide_frequency", 2, event.slideFrequency);
    table.ReadSlide("slide_volume", 4, event.slideVolume);
    table.Read("volume", event.volume);
    table.Read("frequency", event.frequency);
    table.Read("loop", event.loop);
    table.Read("position", event.position);
    table.Read("do", event.action);
    if (event.at && std::isnan(event.at->value)) table.Fail(event.at->line, "at must be a number");
    table.Finish();
    return event;
}

void ReadDevice(TomlTable_t table, scene_t& scene) {
    setting_t<uint32_t> lead;
    table.Read("write_lead_bytes", lead);
    if (lead) scene.writeLeadBytes = lead->value;
    if (scene.writeLeadBytes % 4 != 0) {
        table.Fail(lead->line, "write_lead_bytes is not a multiple of 4, the bytes of a frame");
    }
    table.Read("emulated", scene.isEmulated);
    table.Finish();
}

void ReadMemory(TomlTable_t table, scene_t& scene) {
    table.Read("stream_page_bytes", scene.streamPageBytes);
    table.Read("stream_pages_ahead", scene.streamPagesAhead);
    table.Read("decoded_page_bytes", scene.decodedPageBytes);
    table.Finish();
}

void ReadLoader(TomlTable_t table, uint32_t line, scene_t& scene) {
    setting_t<uint32_t> delay;
    table.Read("mode", scene.loaderMode);
    table.Read("delay_frames", delay);
    const bool isDelayed = scene.loaderMode == loader_mode_t::delayed;
    if (isDelayed && !delay) table.Fail(line, "mode \"delayed\" needs delay_frames");
    if (!isDelayed && delay) table.Fail(delay->line, "delay_frames needs mode = \"delayed\"");
    if (delay) scene.loaderDelayFrames = delay->value;
    table.Finish();
}

// One table, or a list of them.
void ReadSpans(TomlTable_t& root, std::string_view key, const scene_t& scene, outcome_t& problem,
               std::vector<scene_span_t>& spans) {
    for (const toml::table* source : root.OneOrMoreTables(key)) {
        TomlTable_t table(scene, *source, problem);
        setting_t<double> at, seconds;
        table.Require("at", at);
        table.Require("seconds", seconds);
        table.Finish();
        if (!at || !seconds) continue;
        if (!(at->value >= 0.0)) table.Fail(at->line, "at must not lie below 0");
        if (!(seconds->value >= 0.0)) table.Fail(seconds->line, "seconds must not lie below 0");
        spans.push_back({at->value, seconds->value});
    }
}

void ReadTiming(TomlTable_t& table, scene_t& scene) {
    setting_t<double> frameRate, duration;
    table.Read("frame_rate", frameRate);
    table.Read("worst_case_frame_rate", scene.worstCaseFrameRate);
    table.Require("duration", duration);
    if (frameRate && !(frameRate->value > 0.0 && frameRate->value <= maxFrameRate)) {
        table.Fail(frameRate->line, "frame_rate must lie above 0 and not above 44100");
    }
    if (frameRate) scene.frameRate = frameRate->value;
    if (!duration) return;
    const double frames = std::round(duration->value * 44100.0);
    if (!(duration->value >= 0.0)) table.Fail(duration->line, "duration must not lie below 0");
    if (frames > static_cast<double>(maxWaveFrames)) {
        table.Fail(duration->line, "duration is longer than a wave file can hold (24347 seconds)");
    } else if (frames > 0) {
        scene.outputFrames = static_cast<uint32_t>(frames);
    }
}

}  // namespace

outcome_t ReadScene(const std::filesystem::path& path, scene_t& scene) {
    scene = {};
    scene.path = path;
    std::string text;
    if (outcome_t read = ReadWholeFile(path, maxSceneBytes, text); !read) return read;
    const toml::parse_result parsed = toml::parse(text);
    if (!parsed) {
        const toml::parse_error& error = parsed.error();
        return Failure(scene.At(static_cast<uint32_t>(error.source().begin.line)),
                       std::string(error.description()));
    }

    outcome_t problem = Success();
    const auto nested = [&](const toml::table& table) { return TomlTable_t(scene, table, problem); };
    TomlTable_t root = nested(parsed.table());
    ReadTiming(root, scene);
    if (const toml::table* device = root.Table("device")) ReadDevice(nested(*device), scene);
    if (const toml::table* memory = root.Table("memory")) ReadMemory(nested(*memory), scene);
    if (const toml::table* loader = root.Table("loader")) ReadLoader(nested(*loader), LineOf(*loader), scene);
    ReadSpans(root, "stall", scene, problem, scene.stalls);
    ReadSpans(root, "device_loss", scene, problem, scene.deviceLosses);
    for (const toml::table* table : root.Tables("sound")) {
        scene.sounds.push_back(ReadSoundTable(nested(*table), LineOf(*table)));
    }
    for (const toml::table* table : root.Tables("archive")) {
        scene.archives.push_back(ReadArchiveTable(nested(*table), LineOf(*table)));
    }
    for (const toml::table* table : root.Tables("event")) {
        scene.events.push_back(ReadEventTable(nested(*table), LineOf(*table)));
    }
    root.Finish();
    return problem;
}

}  // namespace tools
