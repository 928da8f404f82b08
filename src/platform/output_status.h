// output_status.h - what the system's sound output is asked to do, and what it does.
//
// Thread: any; the host asks, the feeder tells.
#pragma once

#include <string>

#include "platform/pcm_stream.h"
#include "platform/thread.h"

namespace platform {

struct output_request_t {
    std::string device = "default";
    uint32_t leadMs = 0;  // 0: as the priority that the feeder gets allows
};

// Of the current run of the system output, or of the latest.
struct output_status_t {
    bool isOpen = false;  // the device takes sound at this moment
    pcm_setup_t setup;
    uint32_t leadFrames = 0;  // how far ahead the device is fed
    uint32_t underruns = 0;   // the device ran dry, or so full that it was started afresh
    uint32_t losses = 0;      // the device failed and had to be opened again
    thread_priority_t feederPriority = thread_priority_t::ordinary;
};

output_request_t OutputRequest();
void SetOutputRequest(const output_request_t& request);

output_status_t OutputStatus();
void SetOutputStatus(const output_status_t& status);

}  // namespace platform
