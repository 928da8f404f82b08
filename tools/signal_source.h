// signal_source.h - the samples of any sound as numbers: sound files of the engine, sounds of archives, and
// whatever libsndfile reads.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/outcome.h"

namespace tools {

class AudioSource_t;
class SoundChoice_t;

class SignalSource_t {
  public:
    SignalSource_t();
    ~SignalSource_t();
    SignalSource_t(const SignalSource_t&) = delete;
    SignalSource_t& operator=(const SignalSource_t&) = delete;

    // `name` picks a sound of an archive; null: the only one.
    outcome_t Open(const std::string& path, const std::string* name);

    // The next samples, interleaved, full scale 1.0. Empty at the end.
    outcome_t ReadBlock(std::vector<double>& block);

    uint32_t Channels() const { return channels; }
    uint32_t RateHz() const { return rateHz; }
    double HighestValue() const {
        return highestValue;
    }  // of a sample: all but full scale where they are integers
    // One line about its form, and for a sound of the engine one about how voices play it.
    const std::vector<std::string>& Facts() const { return facts; }
    const std::string& Title() const { return title; }

  private:
    outcome_t OpenSound(const std::string& path, const std::string* name);
    outcome_t OpenAudio(const std::string& path);

    std::unique_ptr<SoundChoice_t> sound;
    std::unique_ptr<AudioSource_t> audio;
    uint32_t channels = 0, rateHz = 0;
    double highestValue = 1.0;
    std::string title;
    std::vector<std::string> facts;
    std::vector<int16_t> samples;
};

}  // namespace tools
