// monitor_source.h - listens to what the machine's sound server plays, where it offers that as a source.
#pragma once

#include <cstdint>
#include <memory>

namespace platform {

class MonitorSource_t {
  public:
    virtual ~MonitorSource_t() = default;
    // What has come since, at most so many frames of 16-bit stereo at 44,100 Hz; 0 if nothing has.
    virtual uint32_t Read(int16_t* samples, uint32_t frames) = 0;
    virtual void Drop() = 0;  // what has come so far
};

// Null where there is none. May take as long as the server does.
std::unique_ptr<MonitorSource_t> OpenMonitorSource();

}  // namespace platform
