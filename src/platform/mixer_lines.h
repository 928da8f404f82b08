// mixer_lines.h - the volume controls of the machine's mixer.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace platform {

constexpr uint32_t AUXCAPS_VOLUME = 1;    // it has a volume
constexpr uint32_t AUXCAPS_LRVOLUME = 2;  // one for each of two channels

struct mixer_line_t {
    std::string name;
    uint32_t support = 0;  // AUXCAPS_
};

// The lines as they are while this lives. A volume's low 16 bits are the left channel, or the only one, its
// high 16 bits the right one. This class itself is a mixer without lines.
class MixerLines_t {
  public:
    virtual ~MixerLines_t() = default;
    virtual uint32_t Count() { return 0; }
    virtual mixer_line_t Line(uint32_t) { return {}; }
    virtual uint32_t GetVolume(uint32_t) { return 0; }
    virtual void SetVolume(uint32_t, uint32_t) {}
};

// The machine's; never null. Talks to the sound server or the card, and may take as long as that does.
std::unique_ptr<MixerLines_t> OpenMixerLines();

}  // namespace platform
