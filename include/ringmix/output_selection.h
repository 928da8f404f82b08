// output_selection.h - which sound output the engine opens, chosen before AudioWrapper_t::Initialize.
//
//   "null"    paced by the clock, heard by nobody. The default
//   "manual"  moves only when the host plays it, and hands over what it played: the same calls give the same
//   bytes,
//             on every machine
#pragma once

#include <ringmix/export.h>

class RINGMIX_EXPORT OutputSelection_t {
  public:
    static unsigned int GetBackendCount();
    // Null for an index out of range. The text is the library's.
    static const char* GetBackendName(unsigned int index);
    static const char* GetBackendDescription(unsigned int index);

    // False, and no change, for an unknown name or while the engine runs.
    static bool SelectBackend(const char* name);
    static const char* GetSelectedBackend();

    // "manual" only: plays that many frames. Time moves, and the engine's thread runs when its time comes.
    //   out     interleaved 16-bit stereo at 44,100 Hz, 2 words a frame, room for `frames`; may be null
    // What played meanwhile, while the host waited inside other calls, is not among them. Returns how many
    // were played: fewer while the device does not play, 0 on another backend.
    static unsigned int PlayManual(short* out, unsigned int frames);

    // Receives the engine's diagnostic lines, on the host thread or the mixing thread; it must not block.
    // Null: nobody.
    static void SetDebugSink(void (*sink)(const char* line));
};
