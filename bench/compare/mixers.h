// mixers.h - the contestants of the mixing table: each plays that many looping voices and tells what one
// output frame of one voice costs, everything that it does included.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "measure.h"

struct mix_case_t {
    const char* name;
    bool is16Bit = true, isStereo = true;
    uint32_t rateDivisor = 1;
    float left = 1.0f, right = 1.0f, pitch = 1.0f;
    bool isShared = false;    // all voices play one sound; otherwise each has its own
    bool isRestless = false;  // each tick one voice stops and starts elsewhere

    bool IsPlainStereo() const { return is16Bit && isStereo && rateDivisor == 1 && !isShared && !isRestless; }
};

class Mixer_t {
  public:
    explicit Mixer_t(std::string name_) : name(std::move(name_)) {}
    virtual ~Mixer_t() = default;
    Mixer_t(const Mixer_t&) = delete;
    Mixer_t& operator=(const Mixer_t&) = delete;

    virtual bool Takes(const mix_case_t& mixCase) const = 0;
    // Nanoseconds a voice and output frame, over one slice. Negative: it made no sound or did not start.
    virtual double RunSlice(const mix_case_t& mixCase, unsigned voices, uint32_t ticks) = 0;
    // Milliseconds from the call that starts a voice until it is heard, behind so much queued audio that a
    // stall of `stallMs` leaves no gap. Negative: it does not take part.
    virtual double RunStart(double /*stallMs*/) { return -1.0; }

    const std::string name;
};

using mixers_t = std::vector<std::unique_ptr<Mixer_t>>;

void AddRingmix(mixers_t& mixers);  // one for each kernel set that this CPU can run
void AddReader(mixers_t& mixers);   // only reads the samples
void AddSdlMixer(mixers_t& mixers);
void AddOpenAl(mixers_t& mixers);
