#include "fuzz/fuzz_engine.h"

#include <algorithm>

#include "compressed/compressed_voice.h"
#include "core/audio_system.h"
#include "fuzz/fuzz_input.h"
#include "platform/manual_output.h"
#include "platform/output_backends.h"
#include "platform/pages.h"
#include "streaming/compressed_stream_voice.h"
#include "streaming/raw_stream_voice.h"
#include "streaming/stream_voice.h"
#include "voices/sliding_voice.h"

namespace fuzz {

Engine_t::Engine_t(uint32_t streamPageBytes, uint32_t streamPagesAhead, uint32_t decodedPageBytes,
                   bool usePrimaryBuffer) {
    FUZZ_REQUIRE(platform::SelectOutput("manual"));
    platform::ResetManualOutput();
    for (MixCostTable_t* table :
         {&SimpleVoice_t::mixCosts, &SlidingVoice_t::mixCosts, &CompressedVoice_t::mixCosts,
          &StreamVoice_t::mixCosts, &CompressedStreamVoice_t::mixCosts, &RawStreamVoice_t::mixCosts})
        *table = {};
    FUZZ_REQUIRE(AudioSystem::Initialize(nullptr, usePrimaryBuffer, streamPageBytes, streamPagesAhead,
                                         decodedPageBytes));
}

Engine_t::~Engine_t() {
    AudioSystem::DeInitialize();
    FUZZ_REQUIRE(!AudioSystem::initialized && AudioSystem::allVoices.count == 0);
    FUZZ_REQUIRE(platform::ManualCounts().devices == 0 && platform::ManualCounts().buffers == 0);
}

std::vector<uint8_t> Engine_t::Play(uint32_t frames) {
    std::vector<uint8_t> played;
    platform::PlayManualOutput(frames, played);
    return played;
}

void SetPageSizes(uint32_t streamPageBytes, uint32_t decodedPageBytes) {
    AudioSystem::systemPageSize = platform::SystemPageBytes();
    AudioSystem::streamPageBytes = streamPageBytes;
    AudioSystem::streamLookAheadBytes = 4 * streamPageBytes;
    AudioSystem::compressedPageBytes = AudioSystem::decodedStreamPageBytes = decodedPageBytes;
}

}  // namespace fuzz
