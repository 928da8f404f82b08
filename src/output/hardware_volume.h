// hardware_volume.h - the volume of the machine's own mixer lines, apart from the software mix: 0.0 to 1.0.
//
// A line is found by a word in its name, the first that has one of them: "master", "Master" or "MASTER", and
// the same for wave. False: there is no such line, or it has no volume. Thread: any; the machine's mixer is
// asked each time, and may take as long as it likes.
#pragma once

namespace platform {
class MixerLines_t;
}

namespace AudioSystem {

bool SetMasterVolume(float volume);
bool GetMasterVolume(float* volume);  // untouched if the result is false
bool SetWaveVolume(float volume);
bool GetWaveVolume(float* volume);

// The same on any mixer.
enum class volume_line_t { master, wave };
bool SetLineVolume(platform::MixerLines_t& lines, volume_line_t which, float volume);
bool GetLineVolume(platform::MixerLines_t& lines, volume_line_t which, float* volume);

}  // namespace AudioSystem
