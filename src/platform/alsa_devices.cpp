// alsa_devices.cpp - the names that ALSA offers for playback.
#include <algorithm>
#include <cstdlib>

#include "platform/alsa_library.h"
#include "platform/system_devices.h"

namespace platform {
namespace {

std::string TakeHint(const alsa_library_t& alsa, const void* hint, const char* key) {
    char* text = alsa.device_name_get_hint(hint, key);
    const std::string taken = text ? text : "";
    std::free(text);
    return taken;
}

}  // namespace

// Left out is what only records, and the one that swallows whatever it is given at once: an engine that plays
// into it has no clock.
std::vector<system_device_t> SystemDevices() {
    std::vector<system_device_t> devices;
    const alsa_library_t* alsa = LoadAlsa();
    if (!alsa) return devices;
    const AlsaMessages_t messages(*alsa);
    alsa->config_update_free_global();
    void** hints = nullptr;
    if (alsa->device_name_hint(-1, "pcm", &hints) < 0) return devices;
    for (void** hint = hints; *hint; ++hint) {
        system_device_t device{TakeHint(*alsa, *hint, "NAME"), TakeHint(*alsa, *hint, "DESC")};
        if (device.name == "null" || TakeHint(*alsa, *hint, "IOID") == "Input") continue;
        std::replace(device.description.begin(), device.description.end(), '\n', ' ');
        devices.push_back(std::move(device));
    }
    alsa->device_name_free_hint(hints);
    return devices;
}

}  // namespace platform
