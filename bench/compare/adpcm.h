// adpcm.h - IMA ADPCM decoders side by side.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "measure.h"

// One contestant on one job, which it keeps.
class Decoder_t {
  public:
    explicit Decoder_t(const char* name_) : name(name_) {}
    virtual ~Decoder_t() = default;
    Decoder_t(const Decoder_t&) = delete;
    Decoder_t& operator=(const Decoder_t&) = delete;
    virtual void DecodeAll(std::vector<int16_t>& out) = 0;

    const std::string name;
};

struct adpcm_result_t {
    std::string contestant;
    bool isStereo;
    double nsPerSample;  // negative: what it decoded is wrong
};

std::vector<adpcm_result_t> CompareAdpcm(const budget_t& budget);
