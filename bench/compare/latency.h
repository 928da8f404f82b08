// latency.h - how soon a start is heard, and how long a stall of the host is not.
#pragma once

#include <string>
#include <vector>

#include "measure.h"

// What was queued when the tick began; from the call of MixVoices until the first sample reaches the play
// cursor; how long that call took; and from one tick to the next, how long the host may take without a gap.
// Milliseconds; negative where it was not measured.
struct start_result_t {
    std::string contestant, device;
    double hostRate;
    unsigned voices;
    double queuedMs, heardMs, tickMs, stallMs;
};

// MixVoices in real time on the null device, the handshake with the mixing thread included.
struct tick_result_t {
    unsigned voices;
    double tickUs;
};

// The parts of a tick without voices.
struct tick_parts_t {
    double hostWorkUs;          // all of the host's but the handshake
    double clearNs, convertNs;  // a frame
};

std::vector<tick_result_t> MeasureTicks(bool isSmoke);
tick_parts_t MeasureTickParts(bool isSmoke);
std::vector<start_result_t> MeasureStarts(bool isSmoke);
