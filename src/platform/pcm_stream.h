// pcm_stream.h - what the feeder asks of a sound device below it: one stream of 16-bit stereo frames at
// 44,100 Hz. Errors are negative numbers of the system's (-EPIPE and the like).
#pragma once

#include <cstdint>

namespace platform {

// What was agreed with the device, on this side of any conversion.
struct pcm_setup_t {
    uint32_t rateHz = 0, channels = 0;
    uint32_t bufferFrames = 0, periodFrames = 0;
    char format[16] = "";
    char chain[160] = "";  // what stands between here and the device, for people
};

// Thread: the feeder's alone. Any call may block for as long as the device likes.
class PcmStream_t {
  public:
    virtual ~PcmStream_t() = default;

    virtual int Open(pcm_setup_t& setup) = 0;
    virtual void Close() = 0;  // harmless when it is closed

    // Frames that it has and has not consumed: 0 is an underrun, if it has been given any.
    virtual long QueuedFrames() = 0;
    // Frames between the next one to be written and the one that is heard.
    virtual long DelayFrames() = 0;
    // How many it took. Starts a stream that stands.
    virtual long Write(const uint8_t* bytes, uint32_t frames) = 0;
    // Makes it ready for Write again after that error, empty.
    virtual int Recover(int error) = 0;
    // Drops what is queued and makes it ready for Write.
    virtual int Restart() = 0;
    virtual const char* ErrorText(int error) = 0;
};

}  // namespace platform
