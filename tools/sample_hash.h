// sample_hash.h - a name for what was heard: SHA-256 of 16-bit stereo samples, low byte first, without any
// header.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace tools {

class SampleHash_t {
  public:
    SampleHash_t();
    ~SampleHash_t();
    SampleHash_t(const SampleHash_t&) = delete;
    SampleHash_t& operator=(const SampleHash_t&) = delete;

    void Add(const uint8_t* bytes, size_t count);
    std::string Finish();  // 64 hexadecimal digits; once

    // Of texts that people hand over, in small letters or capitals.
    static bool IsHash(std::string_view text);
    static bool AreEqual(std::string_view one, std::string_view other);

  private:
    struct state_t;
    std::unique_ptr<state_t> state;
};

}  // namespace tools
