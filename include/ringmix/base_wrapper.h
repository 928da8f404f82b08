// base_wrapper.h - reading from disk what streaming voices have asked for.
//
// The library starts no thread for this: a host calls WaitForStreamLoad and LoadStreams in a loop, best on a
// thread of its own, and ends that loop before AudioWrapper_t::DeInitialize.
#pragma once

#include <ringmix/export.h>

class RINGMIX_EXPORT BaseWrapper_t {
  public:
    BaseWrapper_t();
    BaseWrapper_t(const BaseWrapper_t& other);
    virtual ~BaseWrapper_t();
    BaseWrapper_t& operator=(const BaseWrapper_t& other);

    // The class name of streams, for SoundWrapper_t::IsASortOf.
    static const char* GetClassNameA();

    // Serves the requests of every stream. Does nothing unless the engine runs.
    static void LoadStreams();

    // Waits until a voice has asked for data: 0; 258 when timeoutMs have run out; 0xFFFFFFFF, at once, unless
    // the engine runs.
    static unsigned int WaitForStreamLoad(unsigned int timeoutMs);
};
