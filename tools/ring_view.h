// ring_view.h - where the cursors of the ring stand, seen from the frame that the device plays next. Host
// thread; the engine runs on the manual output.
#pragma once

#include <cstdint>

namespace tools {

// Frames ahead of what is played.
struct ring_view_t {
    uint32_t leadFrames = 0;   // sent: in the device's buffer
    uint32_t mixedFrames = 0;  // voices are mixed up to here, all but those that are mixed far ahead
    uint32_t clearFrames = 0;  // nothing is mixed beyond
};

ring_view_t ViewRing();

// The ring position of what is played next: all before it can no longer change.
uint32_t RingAtPlayed();

// Of a ring position, such as a voice's. Negative: played already.
int64_t FramesAhead(uint32_t ringAt);

}  // namespace tools
