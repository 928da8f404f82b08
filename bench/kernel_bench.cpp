// kernel_bench.cpp - what one voice costs in each kernel set: nanoseconds per output frame of one voice.
//
// Names read kernels/<set>/<kernel>/<divisor or step>/<output frames>. A stretch of 735 frames is one 60 Hz
// tick at 44,100 Hz. Spread: --benchmark_repetitions=9 --benchmark_report_aggregates_only=true.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "core/mix_ring.h"
#include "kernels/mix_kernels.h"

namespace {

constexpr uint32_t maxFrames = 1024, maxStep = 1331;
constexpr int32_t leftVolume = 192, rightVolume = 77;  // 1/256 steps

struct kernel_case_t {
    const kernel_set_t* set;
    bool is16Bit, isStereo, isGain;
    uint32_t rate;  // divisor of a plain kernel, step of a gain kernel
    uint32_t frames;
};

void Run(const kernel_set_t& set, const kernel_case_t& kernel, double* entries, const uint8_t* source) {
    const unsigned index = KernelIndex(kernel.is16Bit, kernel.isStereo);
    if (kernel.isGain) {
        const int scale = kernel.is16Bit ? 256 : 65536;
        set.gain[index](entries, 0, source, kernel.frames, leftVolume * scale, rightVolume * scale,
                        kernel.rate, 0);
    } else {
        set.plain[index](entries, 0, source, kernel.frames / kernel.rate, static_cast<int32_t>(kernel.rate));
    }
}

// Noise and its mirror image, mixed in turn, so that the entries stay in their slots however long it runs.
struct sources_t {
    std::vector<uint8_t> noise, mirror;

    explicit sources_t(bool is16Bit) : noise(maxFrames * maxStep / 1024 * 4 + 4), mirror(noise.size()) {
        std::minstd_rand random(1);
        for (size_t i = 0; i + 1 < noise.size(); i += 2) {
            noise[i] = static_cast<uint8_t>(random() % 255 + 1);
            noise[i + 1] = static_cast<uint8_t>(random() % 255 + 1);
            mirror[i] = static_cast<uint8_t>(256 - noise[i]);
            mirror[i + 1] = static_cast<uint8_t>(256 - noise[i + 1] - (is16Bit ? 1 : 0));
        }
    }
};

// Whole ring pairs, aligned as the ring's own allocation is.
struct alignas(16) entries_t : std::array<double, maxFrames + 4> {
    entries_t() { fill(std::bit_cast<double>(AudioSystem::silentEntryBits)); }
};

// Processor time: others may use the machine, too.
void CountPerFrame(benchmark::State& state, uint32_t frames) {
    state.counters["per_frame"] = benchmark::Counter(
        frames, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void RunKernel(benchmark::State& state, kernel_case_t kernel) {
    const sources_t sources(kernel.is16Bit);
    entries_t entries, wanted;
    for (const auto* source : {&sources.noise, &sources.mirror, &sources.noise}) {
        Run(*kernel.set, kernel, entries.data(), source->data());
        Run(referenceKernels, kernel, wanted.data(), source->data());
    }
    if (!std::equal(entries.begin(), entries.end(), wanted.begin())) {
        state.SkipWithError("differs from the reference");
        return;
    }
    for (bool isMirror = true; auto _ : state) {
        Run(*kernel.set, kernel, entries.data(), isMirror ? sources.mirror.data() : sources.noise.data());
        isMirror = !isMirror;
        benchmark::ClobberMemory();
    }
    CountPerFrame(state, kernel.isGain ? kernel.frames : kernel.frames / kernel.rate * kernel.rate);
}

void Register(const kernel_case_t& kernel) {
    const std::string name = std::string("kernels/") + kernel.set->name +
                             (kernel.isGain ? "/MixGain" : "/MixPlain") +
                             (kernel.isStereo ? "Stereo" : "Mono") + (kernel.is16Bit ? "16" : "8") +
                             (kernel.isGain ? "/step:" : "/divisor:") + std::to_string(kernel.rate) +
                             "/frames:" + std::to_string(kernel.frames);
    benchmark::RegisterBenchmark(name.c_str(), RunKernel, kernel);
}

// Four taps a channel in one walk, beside four gain kernels in turn over as many stereo sources.
void RunTaps(benchmark::State& state, const kernel_set_t* set, bool is16Bit, uint32_t step) {
    const sources_t sources(is16Bit);
    entries_t entries;
    taps_t taps{};
    taps.step = step;
    for (unsigned i = 0; i < 8; ++i) {
        taps.sources[i] = sources.noise.data() + 16 * i;
        taps.k[i] = i % 4 < 2 ? 64 : -64;  // so that the entries stay in their slots
    }
    for ([[maybe_unused]] auto _ : state) {
        set->taps[is16Bit][2](entries.data(), 0, 735, taps);
        benchmark::ClobberMemory();
    }
    CountPerFrame(state, 735);
}

void RunGainsInTurn(benchmark::State& state, const kernel_set_t* set, bool is16Bit, uint32_t step) {
    const sources_t sources(is16Bit);
    entries_t entries;
    const int32_t gain = is16Bit ? 64 << 8 : 64 << 16;
    for ([[maybe_unused]] auto _ : state) {
        for (const int32_t each : {gain, -gain, gain, -gain})
            set->gain[KernelIndex(is16Bit, true)](entries.data(), 0, sources.noise.data(), 735, each, each,
                                                  step, 0);
        benchmark::ClobberMemory();
    }
    CountPerFrame(state, 735);
}

// The same update with 80-bit floats, an entry at a time, as an x87 unit does it: what the portable set must
// beat.
#if defined(__x86_64__)
void RunX87(benchmark::State& state) {
    const sources_t sources(true);
    entries_t entries;
    constexpr long double silentWord = 0x1p63L + 0x1p58L + 0x1p26L;
    const long double gains[] = {leftVolume / 256.0L, rightVolume / 256.0L};
    for (bool isMirror = true; auto _ : state) {
        const uint8_t* source = isMirror ? sources.mirror.data() : sources.noise.data();
        for (size_t pair = 0; pair < 735 / 2; ++pair, source += 8) {
            uint64_t frames;
            std::memcpy(&frames, source, sizeof frames);
            for (size_t channel = 0; channel < 2; ++channel, frames >>= 16) {
                const auto word = std::bit_cast<double>((frames & 0x0000FFFF0000FFFF) | 0x43E0000000000000);
                double& entry = entries[2 * pair + channel];
                entry = static_cast<double>(entry + word * gains[channel] - silentWord * gains[channel]);
            }
        }
        isMirror = !isMirror;
        benchmark::ClobberMemory();
    }
    CountPerFrame(state, 735);
}
BENCHMARK(RunX87)->Name("kernels/x87/MixGainStereo16/step:1024/frames:735");
#endif

[[maybe_unused]] const bool isRegistered = [] {
    for (const kernel_set_t* set : AllKernelSets()) {
        if (!set->isSupported()) continue;
        for (const uint32_t step : {1024u, 1331u}) {
            for (const bool is16Bit : {true, false}) {
                const std::string name = std::string(is16Bit ? "16" : "8") + "/step:" + std::to_string(step);
                const std::string taps = std::string("taps/") + set->name + "/MixTapsFour" + name;
                const std::string gains = std::string("taps/") + set->name + "/FourGains" + name;
                benchmark::RegisterBenchmark(taps.c_str(), RunTaps, set, is16Bit, step);
                benchmark::RegisterBenchmark(gains.c_str(), RunGainsInTurn, set, is16Bit, step);
            }
        }
        for (unsigned format = 0; format < 4; ++format) {
            const bool is16Bit = (format & 2) == 0, isStereo = (format & 1) == 0;
            for (uint32_t frames : {64u, 735u, 1024u}) {
                for (uint32_t divisor : {1u, 2u, 4u})
                    Register({set, is16Bit, isStereo, false, divisor, frames});
                for (uint32_t step : {1024u, 1331u}) Register({set, is16Bit, isStereo, true, step, frames});
            }
        }
    }
    return true;
}();

}  // namespace
