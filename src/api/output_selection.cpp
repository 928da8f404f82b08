#include <ringmix/output_selection.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "core/audio_system.h"
#include "platform/debug_output.h"
#include "platform/manual_output.h"
#include "platform/output_backends.h"

namespace {

constexpr unsigned int framesPerStep = 4096;

const platform::output_backend_t* BackendAt(unsigned int index) {
    const auto backends = platform::OutputBackends();
    return index < backends.size() ? backends[index] : nullptr;
}

}  // namespace

unsigned int OutputSelection_t::GetBackendCount() {
    return static_cast<unsigned int>(platform::OutputBackends().size());
}

const char* OutputSelection_t::GetBackendName(unsigned int index) {
    const auto* backend = BackendAt(index);
    return backend ? backend->name : nullptr;
}

const char* OutputSelection_t::GetBackendDescription(unsigned int index) {
    const auto* backend = BackendAt(index);
    return backend ? backend->description : nullptr;
}

bool OutputSelection_t::SelectBackend(const char* name) {
    return name && !AudioSystem::initialized && !AudioSystem::mixThread && platform::SelectOutput(name);
}

const char* OutputSelection_t::GetSelectedBackend() { return platform::SelectedOutput().name; }

// In steps, so that what is held of the device's bytes stays small however much is played.
unsigned int OutputSelection_t::PlayManual(short* out, unsigned int frames) {
    if (!AudioSystem::initialized || !platform::SelectedOutput().movesTime) return 0;
    static std::vector<uint8_t> played;
    platform::PlayManualOutput(0, played);
    unsigned int written = 0;
    for (unsigned int left = frames; left > 0;) {
        const unsigned int step = std::min(left, framesPerStep);
        played.clear();
        platform::PlayManualOutput(step, played);
        if (out) std::memcpy(out + std::size_t{written} * 2, played.data(), played.size());
        written += static_cast<unsigned int>(played.size() / 4);
        left -= step;
    }
    played.clear();
    return written;
}

void OutputSelection_t::SetDebugSink(void (*sink)(const char* line)) { platform::SetDebugSink(sink); }
