// output_backends.h - the sound outputs of this build, and which one the next start of the engine opens.
#pragma once

#include <span>
#include <string_view>

#include "platform/sound_output.h"

namespace platform {

struct output_backend_t {
    const char* name;
    const char* description;
    output_result_t (*open)(IDirectSound** directSound);
    bool movesTime;    // time stands still but for what this backend's owner plays (manual_clock.h)
    bool tellsStatus;  // output_status.h is about it
};

extern const output_backend_t systemBackend;  // alsa_output.cpp: what the machine is heard through
extern const output_backend_t nullBackend;    // null_output.cpp: paced by the clock, heard by nobody
extern const output_backend_t manualBackend;  // manual_output.cpp: moves only when its owner plays it

// The default first.
std::span<const output_backend_t* const> OutputBackends() noexcept;

const output_backend_t& SelectedOutput() noexcept;

// False, and no change, for an unknown name. The engine must not be running: threads and waits that have
// begun under one clock cannot end under another.
bool SelectOutput(std::string_view name) noexcept;

}  // namespace platform
