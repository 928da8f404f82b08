// live_engine.h - the engine on a real output, with a host of 60 frames a second and a loader of its own.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>

#include "tools/outcome.h"

namespace tools {

class LiveEngine_t {
  public:
    LiveEngine_t() = default;
    LiveEngine_t(const LiveEngine_t&) = delete;
    LiveEngine_t& operator=(const LiveEngine_t&) = delete;
    ~LiveEngine_t();  // stops the engine and ends the loader

    // device: "null" for the output that nobody hears, otherwise a device of the system; empty for its
    // default. A failure says what can be done about it.
    outcome_t Start(const std::string& device);

    // One host frame: a tick. Then the time until the next one can be waited for.
    void Tick();
    void WaitForFrame();

    // Frames of output that the device has been given since the start, but for what is queued.
    uint64_t OutputFrames() const { return outputFrames; }

  private:
    std::thread loader;
    std::atomic<bool> mustEnd{false};
    uint64_t outputFrames = 0;
    std::chrono::steady_clock::time_point nextFrame;
};

}  // namespace tools
