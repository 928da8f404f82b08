// reader.cpp - no mixer: it only reads each voice's samples, asking for the next voice's meanwhile. What is
// left of a mixer's time beyond this is arithmetic.
#include <algorithm>
#include <cstring>
#include <span>
#include <vector>

#include "mixers.h"
#include "sounds/sample_heap.h"

namespace {

class Reader_t final : public Mixer_t {
  public:
    Reader_t() : Mixer_t("reading") {}

    bool Takes(const mix_case_t& mixCase) const override {
        return mixCase.IsPlainStereo() && mixCase.left == 1.0f && mixCase.pitch == 1.0f;
    }

    double RunSlice(const mix_case_t&, unsigned voices, uint32_t ticks) override {
        std::vector<voice_t> playing;
        for (unsigned i = 0; i < voices; ++i) playing.emplace_back(Noise(i), 2 * (i * 577 % soundFrames));
        uint64_t sum = 0;
        double start = 0.0;
        for (uint32_t tick = 0; tick < warmUpTicks + ticks; ++tick) {
            if (tick == warmUpTicks) start = ThreadNs();
            for (unsigned i = 0; i < voices; ++i) sum += playing[i].Read(playing[(i + 1) % voices]);
        }
        const double spentNs = ThreadNs() - start;
        return sum != 0 ? spentNs / (static_cast<double>(ticks) * framesPerTick * voices) : -1.0;
    }

  private:
    static constexpr uint32_t warmUpTicks = 8;
    static constexpr std::size_t lineSamples = 32;  // of 16 bits
    static constexpr std::size_t tickSamples =
        (2 * framesPerTick + lineSamples - 1) / lineSamples * lineSamples;

    struct voice_t {
        samples_t memory;  // its own copy, where the engine keeps its samples too
        std::span<const int16_t> samples;
        std::size_t at;

        voice_t(const std::vector<int16_t>& noise, std::size_t start)
            : memory(AllocateSamples(noise.size() * sizeof noise[0])),
              samples(reinterpret_cast<const int16_t*>(memory.get()), noise.size()),
              at(start) {
            std::memcpy(memory.get(), noise.data(), samples.size_bytes());
        }

        uint64_t Read(const voice_t& next) {
            if (at + tickSamples > samples.size()) at = 0;
            uint64_t sum = 0;
            for (const std::size_t end = at + tickSamples; at < end; at += lineSamples) {
                const std::size_t ahead = next.at + (at + tickSamples - end);
                __builtin_prefetch(&next.samples[std::min(ahead, next.samples.size() - 1)]);
                uint64_t words[lineSamples / 4];
                std::memcpy(words, samples.data() + at, sizeof words);
                for (const uint64_t word : words) sum += word;
            }
            return sum;
        }
    };
};

}  // namespace

void AddReader(mixers_t& mixers) { mixers.push_back(std::make_unique<Reader_t>()); }
