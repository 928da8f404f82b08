// no_system_output.cpp - takes the place of everything ALSA in a build without it: the output that cannot be
// opened, no devices and no mixer lines.
#include "platform/debug_output.h"
#include "platform/mixer_lines.h"
#include "platform/monitor_source.h"
#include "platform/output_backends.h"
#include "platform/system_devices.h"

namespace platform {
namespace {

output_result_t Open(IDirectSound**) {
    OutputDebugLine("No sound output: this build was made without ALSA\n");
    return DSERR_NODRIVER;
}

}  // namespace

const output_backend_t systemBackend{"system", "the machine's sound output (not in this build)", Open, false,
                                     true};

std::vector<system_device_t> SystemDevices() { return {}; }

std::unique_ptr<MonitorSource_t> OpenMonitorSource() { return nullptr; }

std::unique_ptr<MixerLines_t> OpenMixerLines() { return std::make_unique<MixerLines_t>(); }

}  // namespace platform
