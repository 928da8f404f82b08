// fuzz_engine.h - the engine on the manual device, from its start to its end: the same calls give the same
// bytes.
#pragma once

#include <cstdint>
#include <vector>

namespace fuzz {

class Engine_t {
  public:
    Engine_t(uint32_t streamPageBytes, uint32_t streamPagesAhead, uint32_t decodedPageBytes,
             bool usePrimaryBuffer = false);
    ~Engine_t();  // nothing of the device may be left then
    Engine_t(const Engine_t&) = delete;
    Engine_t& operator=(const Engine_t&) = delete;

    // What the device plays in so many frames.
    static std::vector<uint8_t> Play(uint32_t frames);
};

// The page sizes that loads outside of a running engine go by.
void SetPageSizes(uint32_t streamPageBytes, uint32_t decodedPageBytes);

}  // namespace fuzz
