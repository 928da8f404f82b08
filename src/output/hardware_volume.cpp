#include "output/hardware_volume.h"

#include <optional>

#include "foundation/string.h"
#include "platform/mixer_lines.h"

namespace AudioSystem {
namespace {

constexpr const char* words[][3] = {{"master", "Master", "MASTER"}, {"wave", "Wave", "WAVE"}};
constexpr float fullScale = 1.5259022e-05f;  // 1 / 65535

struct found_line_t {
    uint32_t index;
    bool isStereo;
};

bool HasWord(const String_t& name, volume_line_t which) {
    for (const char* word : words[static_cast<int>(which)]) {
        if (name.Find(word) != String_t::notFound) return true;
    }
    return false;
}

std::optional<found_line_t> FindLine(platform::MixerLines_t& lines, volume_line_t which) {
    for (uint32_t index = 0, count = lines.Count(); index < count; ++index) {
        const platform::mixer_line_t line = lines.Line(index);
        if (!HasWord(String_t(line.name.c_str()), which)) continue;
        if (!(line.support & platform::AUXCAPS_VOLUME)) return std::nullopt;
        return found_line_t{index, (line.support & platform::AUXCAPS_LRVOLUME) != 0};
    }
    return std::nullopt;
}

// What is no volume counts as the nearest one that is.
uint32_t ToWord(float volume) {
    if (!(volume > 0.0f)) return 0;
    return volume >= 1.0f ? 65535 : static_cast<uint32_t>(volume * 65535.0);
}

}  // namespace

bool SetLineVolume(platform::MixerLines_t& lines, volume_line_t which, float volume) {
    const std::optional<found_line_t> line = FindLine(lines, which);
    if (!line) return false;
    const uint32_t word = ToWord(volume);
    lines.SetVolume(line->index, line->isStereo ? word | word << 16 : word);
    return true;
}

bool GetLineVolume(platform::MixerLines_t& lines, volume_line_t which, float* volume) {
    const std::optional<found_line_t> line = FindLine(lines, which);
    if (!line) return false;
    const uint32_t both = lines.GetVolume(line->index);
    const uint32_t word = line->isStereo ? ((both >> 16) + (both & 0xFFFF)) >> 1 : both & 0xFFFF;
    *volume = static_cast<float>(word) * fullScale;
    return true;
}

bool SetMasterVolume(float volume) {
    return SetLineVolume(*platform::OpenMixerLines(), volume_line_t::master, volume);
}
bool GetMasterVolume(float* volume) {
    return GetLineVolume(*platform::OpenMixerLines(), volume_line_t::master, volume);
}
bool SetWaveVolume(float volume) {
    return SetLineVolume(*platform::OpenMixerLines(), volume_line_t::wave, volume);
}
bool GetWaveVolume(float* volume) {
    return GetLineVolume(*platform::OpenMixerLines(), volume_line_t::wave, volume);
}

}  // namespace AudioSystem
