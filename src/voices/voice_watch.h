// voice_watch.h - somebody who wants to know what becomes of a voice. Called on the thread that runs the
// voices, partly inside a tick: no allocation, no wait, and the voice is left alone.
#pragma once

#include <cstdint>

class Voice_t;

class VoiceWatch_t {
  public:
    virtual ~VoiceWatch_t() = default;

    // In a tick, before it is mixed for the first time since Play, from that ring position on.
    virtual void OnStart(const Voice_t&, uint32_t /*ringAt*/) {}
    virtual void OnEnd(const Voice_t& voice) = 0;   // in a tick: it has played what it had
    virtual void OnStop(const Voice_t& voice) = 0;  // it was stopped, or deleted, while it played
    virtual void OnLoop(const Voice_t& voice) = 0;  // in a tick: it goes on from the start of its queue
};
