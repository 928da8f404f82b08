// system_devices.h - the devices that the system output can be told to open.
#pragma once

#include <string>
#include <vector>

namespace platform {

struct system_device_t {
    std::string name, description;
};

// Empty where there is none, or no library to ask. May take a while: it looks at what is there.
std::vector<system_device_t> SystemDevices();

}  // namespace platform
