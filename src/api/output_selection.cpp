#include <ringmix/output_selection.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "core/audio_system.h"
#include "output/dir_sound.h"
#include "platform/debug_output.h"
#include "platform/manual_output.h"
#include "platform/output_backends.h"
#include "platform/output_status.h"
#include "platform/system_devices.h"

namespace {

constexpr unsigned int framesPerStep = 4096;

const platform::output_backend_t* BackendAt(unsigned int index) {
    const auto backends = platform::OutputBackends();
    return index < backends.size() ? backends[index] : nullptr;
}

bool IsEngineStopped() { return !AudioSystem::initialized && !AudioSystem::mixThread; }

std::vector<platform::system_device_t> devices;  // as GetDeviceCount found them

const platform::system_device_t* DeviceAt(unsigned int index) {
    return index < devices.size() ? &devices[index] : nullptr;
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
    return name && IsEngineStopped() && platform::SelectOutput(name);
}

const char* OutputSelection_t::GetSelectedBackend() { return platform::SelectedOutput().name; }

unsigned int OutputSelection_t::GetDeviceCount() {
    devices = platform::SystemDevices();
    return static_cast<unsigned int>(devices.size());
}

const char* OutputSelection_t::GetDeviceName(unsigned int index) {
    const auto* found = DeviceAt(index);
    return found ? found->name.c_str() : nullptr;
}

const char* OutputSelection_t::GetDeviceDescription(unsigned int index) {
    const auto* found = DeviceAt(index);
    return found ? found->description.c_str() : nullptr;
}

bool OutputSelection_t::SelectDevice(const char* name) {
    if (!name || !*name || !IsEngineStopped()) return false;
    platform::output_request_t request = platform::OutputRequest();
    request.device = name;
    platform::SetOutputRequest(request);
    return true;
}

const char* OutputSelection_t::GetSelectedDevice() {
    static std::string name;
    name = platform::OutputRequest().device;
    return name.c_str();
}

bool OutputSelection_t::SetLead(unsigned int milliseconds) {
    if (!IsEngineStopped()) return false;
    platform::output_request_t request = platform::OutputRequest();
    request.leadMs = milliseconds;
    platform::SetOutputRequest(request);
    return true;
}

OutputStatus_t OutputSelection_t::GetStatus() {
    OutputStatus_t status{};
    status.jumps = DirSound_t::jumps;
    status.isOpen = AudioSystem::initialized;
    const platform::output_backend_t& backend = platform::SelectedOutput();
    if (!backend.tellsStatus) {
        std::snprintf(status.device, sizeof status.device, "%s", backend.name);
        std::snprintf(status.format, sizeof status.format, "S16_LE");
        status.rateHz = 44100;
        status.channels = 2;
        return status;
    }
    const platform::output_status_t system = platform::OutputStatus();
    status.isOpen = status.isOpen && system.isOpen;
    status.isRealTime = system.feederPriority == platform::thread_priority_t::realTime;
    status.rateHz = system.setup.rateHz;
    status.channels = system.setup.channels;
    std::memcpy(status.format, system.setup.format, sizeof status.format);
    std::memcpy(status.device, system.setup.chain, sizeof status.device);
    status.bufferFrames = system.setup.bufferFrames;
    status.periodFrames = system.setup.periodFrames;
    status.leadFrames = system.leadFrames;
    status.underruns = system.underruns;
    status.losses = system.losses;
    return status;
}

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
