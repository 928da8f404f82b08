// output_selection.h - which sound output the engine opens, chosen before AudioWrapper_t::Initialize.
//
//   "system"  the machine's sound output: a sound server or a card. The default
//   "null"    paced by the clock, heard by nobody
//   "manual"  moves only when the host plays it, and hands over what it played: the same calls give
//             the same bytes, on every machine
#pragma once

#include <ringmix/export.h>

// What the engine's output does. Counters are of the current run, or of the latest.
struct OutputStatus_t {
    bool isOpen;          // "system": the device takes sound at this moment. Others: the engine runs
    bool isRealTime;      // "system": the thread that feeds the device has real-time priority
    unsigned int rateHz;  // as agreed with the device, on this side of any conversion
    unsigned int channels;
    char format[16];
    char device[160];  // what stands between the engine and the device, for people
    unsigned int bufferFrames, periodFrames;
    unsigned int leadFrames;  // how far ahead the device is fed
    unsigned int underruns;   // the device ran dry
    unsigned int losses;      // the device failed, and was opened again as soon as it was back
    unsigned int jumps;       // the device overtook what the engine had written
};

class RINGMIX_EXPORT OutputSelection_t {
  public:
    static unsigned int GetBackendCount();
    // Null for an index out of range. The text is the library's.
    static const char* GetBackendName(unsigned int index);
    static const char* GetBackendDescription(unsigned int index);

    // False, and no change, for an unknown name or while the engine runs.
    static bool SelectBackend(const char* name);
    static const char* GetSelectedBackend();

    // "system" only: the devices that there are. GetDeviceCount looks, which may take a while, and the texts
    // stay until it is called again. Host thread.
    static unsigned int GetDeviceCount();
    static const char* GetDeviceName(unsigned int index);
    static const char* GetDeviceDescription(unsigned int index);

    // "system" only: any name that the system knows a device by; "default" at first. Whether there is such a
    // device shows at the start. False, and no change, for an empty name or while the engine runs.
    static bool SelectDevice(const char* name);
    static const char* GetSelectedDevice();  // until the next call of it

    // "system" only: how far ahead the device is fed at first, in milliseconds; whenever it runs dry that is
    // doubled, up to 160. 0, as at first: 10 with real-time priority and 40 without. False, and no change,
    // while the engine runs.
    static bool SetLead(unsigned int milliseconds);

    static OutputStatus_t GetStatus();

    // "manual" only: plays that many frames. Time moves, and the engine's thread runs when its time comes.
    //   out     interleaved 16-bit stereo at 44,100 Hz, 2 words a frame, room for `frames`; may be null
    //   frames  any number; an hour is played as fast as it is mixed
    // What played meanwhile, while the host waited inside other calls, is not among them. Returns how many
    // were played: fewer while the device does not play, 0 on another backend.
    static unsigned int PlayManual(short* out, unsigned int frames);

    // Receives the engine's diagnostic lines, on the host thread or on one of the engine's; it must not
    // block. Null: nobody.
    static void SetDebugSink(void (*sink)(const char* line));
};
