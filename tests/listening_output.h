// listening_output.h - what the null device would be heard playing. The linker hands the opening of the
// device over (--wrap, tests/CMakeLists.txt): the library itself knows nothing of it.
//
// A frame is heard when the play cursor has passed it, as the buffer stood then. The buffer changes only
// between Lock and Unlock, and before each change everything up to the cursor is taken.
#pragma once

#include <cstdint>
#include <vector>

#include "engine_fixture.h"

// Devices opened from now on are listened to, or no longer. Nobody may have one open.
void ListenToOutput(bool isOn);

// Frames heard since the device began to play, up to this moment; any thread. A stretch in which nobody asked
// for so long that the cursor may have gone round is not counted.
uint64_t CountHeardFrames();

// A device that nobody tended for longer than that is not known to have played what was meant: of the frames
// `from` up to `to` nothing is promised.
struct late_stretch_t {
    uint64_t from, to;
};

struct heard_sound_t {
    frames_t frames;                   // those since the last call
    std::vector<late_stretch_t> late;  // found since the last call
    uint64_t settledFrames = 0;        // up to here no further stretch will be found
};
heard_sound_t TakeHeardSound();
