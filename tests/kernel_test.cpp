// kernel_test.cpp - every kernel set against the reference, bit for bit, and the reference against extended
// precision and against sums done by hand.
#include "kernels/mix_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "core/mix_ring.h"

namespace {

using entries_t = std::vector<double>;

const double silence = std::bit_cast<double>(AudioSystem::silentEntryBits);

struct kernel_t {
    bool isGain, is16Bit, isStereo;
};

// Arguments of one call, for both kinds of kernel.
struct call_t {
    kernel_t kernel;
    uint32_t firstFrame, count;
    int32_t divisor = 1, leftGain = 0, rightGain = 0;
    uint32_t step = 1024, fraction = 0;
};

void Mix(const kernel_set_t& set, const call_t& call, double* entries, const uint8_t* source) {
    const unsigned index = KernelIndex(call.kernel.is16Bit, call.kernel.isStereo);
    if (call.kernel.isGain)
        set.gain[index](entries, call.firstFrame * 2, source, call.count, call.leftGain, call.rightGain,
                        call.step, call.fraction);
    else
        set.plain[index](entries, call.firstFrame * 2, source, call.count, call.divisor);
}

// A heap block that ends with the last source byte, so that an address sanitizer sees a read past it.
struct source_t {
    std::unique_ptr<uint8_t, decltype(&std::free)> block;
    uint8_t* bytes;

    source_t(size_t size, size_t misalignment)
        : block(static_cast<uint8_t*>(std::malloc(misalignment + size)), std::free),
          bytes(block.get() + misalignment) {}
};

std::vector<const kernel_set_t*> SupportedSets() {
    std::vector<const kernel_set_t*> sets;
    for (const kernel_set_t* set : AllKernelSets()) {
        if (set->isSupported())
            sets.push_back(set);
        else
            std::printf("skipped: this CPU cannot run kernel set %s\n", set->name);
    }
    return sets;
}

using random_t = std::mt19937_64;

uint32_t Below(random_t& random, uint32_t limit) { return static_cast<uint32_t>(random() % limit); }

template <class value_t, size_t size>
value_t Pick(random_t& random, const value_t (&values)[size]) {
    return values[Below(random, size)];
}

// An entry whose slots have room for two more full-scale samples at |k| up to 512. Half of them lie below
// 2^62, where the mantissa holds finer bits; one in eight lies so low that it holds all of them, and a sum
// may even leave the slot there.
double RandomEntry(random_t& random) {
    auto slot = [&random]() noexcept { return 0x80000 + int64_t{Below(random, 780000)} - 390000; };
    const int64_t high = random() % 8 == 0 ? Below(random, 2000) : slot();
    const int64_t low = random() % 8 == 0 ? Below(random, 15000000) : slot();
    const int64_t fine = static_cast<int64_t>(Below(random, 256)) << 35 | Below(random, 256) << 3;
    return static_cast<double>((high << 43) + (low << 11) + fine);
}

call_t RandomCall(random_t& random) {
    call_t call{{random() % 2 != 0, random() % 2 != 0, random() % 2 != 0}, Below(random, 16), 0};
    call.count = random() % 4 == 0
                     ? Below(random, 1500)
                     : Pick(random, {0u, 1u, 2u, 3u, 4u, 5u, 7u, 8u, 9u, 15u, 16u, 17u, 31u, 33u, 735u});
    const bool isRawGain = random() % 4 == 0;
    const int32_t unit = call.kernel.is16Bit ? 256 : 65536;  // of a gain argument, 1/256 of full volume
    for (int32_t* gain : {&call.leftGain, &call.rightGain})
        *gain = isRawGain ? static_cast<int32_t>(Below(random, 1024 * unit)) - 512 * unit
                          : static_cast<int32_t>(Below(random, 257)) * unit;
    call.divisor = Pick(random, {1, 1, 1, 2, 2, 4, 4, 3, 5, 0, -1});
    call.step = random() % 2 == 0 ? 1024 : 1 + Below(random, 8191);
    call.fraction = Below(random, 1024);
    return call;
}

uint32_t SourceFrames(const call_t& call) {
    if (!call.kernel.isGain || call.count == 0) return call.count;
    return ((call.fraction + (call.count - 1) * call.step) >> 10) + 1;
}

// Noise, full scale, silence and next to silence, in changing proportions.
source_t RandomSource(random_t& random, const call_t& call) {
    const size_t size =
        size_t{SourceFrames(call)} * (call.kernel.is16Bit ? 2 : 1) * (call.kernel.isStereo ? 2 : 1);
    source_t source(size, Below(random, 8));
    const uint32_t noise = Below(random, 4) + 1;
    for (size_t i = 0; i < size; ++i) {
        const uint32_t kind = Below(random, 4);
        const bool isTop = !call.kernel.is16Bit || i % 2 != 0;
        const uint8_t quiet = isTop ? 0x80 : static_cast<uint8_t>(Below(random, 4));
        source.bytes[i] =
            kind < noise ? static_cast<uint8_t>(random()) : Pick(random, {uint8_t{0}, uint8_t{255}, quiet});
    }
    return source;
}

std::ostream& operator<<(std::ostream& out, const call_t& call) {
    const auto& [isGain, is16Bit, isStereo] = call.kernel;
    return out << (isGain ? "gain" : "plain") << (isStereo ? " stereo" : " mono") << (is16Bit ? " 16" : " 8")
               << ", count " << call.count << " offset " << call.firstFrame << " divisor " << call.divisor
               << " gains " << call.leftGain << " " << call.rightGain << " step " << call.step << " fraction "
               << call.fraction;
}

testing::AssertionResult SameBits(const entries_t& got, const entries_t& wanted) {
    for (size_t i = 0; i < got.size(); ++i) {
        const uint64_t gotBits = std::bit_cast<uint64_t>(got[i]),
                       wantedBits = std::bit_cast<uint64_t>(wanted[i]);
        if (gotBits != wantedBits)
            return testing::AssertionFailure() << std::hex << "got 0x" << gotBits << ", wanted 0x"
                                               << wantedBits << " at index " << std::dec << i;
    }
    return testing::AssertionSuccess();
}

constexpr size_t guards = 8;  // entries on either side of those that a call may change

// Mixes twice with every set: what the first call leaves is an entry with a history. Beyond the slots sets
// may differ. Returns how many entries have changed.
template <class mix_t>
uint64_t CompareSets(const entries_t& before, bool isInsideSlots, mix_t mix) {
    static const std::vector<const kernel_set_t*> sets = SupportedSets();
    const auto mixTwice = [&](const kernel_set_t& set) {
        entries_t entries = before;
        for (int i = 0; i < 2; ++i) mix(set, entries.data() + guards);
        return entries;
    };
    const entries_t wanted = mixTwice(referenceKernels);
    uint64_t updates = 0;
    for (size_t i = 0; i < wanted.size(); ++i) updates += wanted[i] != before[i];
    for (const kernel_set_t* set : sets) {
        entries_t got = mixTwice(*set);
        for (size_t i = 0; !isInsideSlots && i < got.size(); ++i) {
            if (wanted[i] != before[i]) got[i] = wanted[i];
        }
        EXPECT_TRUE(SameBits(got, wanted)) << set->name;
    }
    return updates;
}

TEST(Kernels, EverySetEqualsTheReference) {
    random_t random(20240611);
    uint64_t updates = 0;
    for (int round = 0; round < 16000 && !HasFailure(); ++round) {
        const call_t call = RandomCall(random);
        SCOPED_TRACE(testing::Message() << "round " << round << ", " << call);
        const source_t source = RandomSource(random, call);
        // Room for a divisor of 4. The pairs lie as unaligned as a ring's may.
        entries_t before(2 * (call.firstFrame / 2 + size_t{call.count} * 2 + 2) + 2 * guards);
        for (double& entry : before) entry = RandomEntry(random);
        updates += CompareSets(before, true, [&](const kernel_set_t& set, double* entries) {
            Mix(set, call, entries, source.bytes);
        });
    }
    EXPECT_GT(updates, 3000000u);
}

// Taps on heap blocks of exactly the frames that a call may read.
struct taps_call_t {
    bool is16Bit;
    unsigned kernel;  // one, two, four taps a channel
    uint32_t firstFrame, count;
    taps_t taps{};
    std::vector<source_t> sources;

    explicit taps_call_t(random_t& random)
        : is16Bit(random() % 2 != 0), kernel(Below(random, 3)), firstFrame(Below(random, 16)) {
        count =
            random() % 4 == 0 ? Below(random, 1500) : Pick(random, {0u, 1u, 2u, 15u, 16u, 17u, 33u, 735u});
        taps.step = Pick(random, {1024u, 1024u, 512u, 1331u, 2389u, 2390u, Below(random, 9000)});
        for (uint32_t& start : taps.starts) start = Below(random, 4096);
        // Gains of which the sum of four fits a slot, or of any size at all.
        const int32_t most = random() % 8 == 0 ? 40000 : 128;
        for (unsigned i = 0; i < 2u << kernel; ++i) {
            taps.k[i] = static_cast<int32_t>(Below(random, 2 * most + 1)) - most;
            call_t one{{true, is16Bit, false}, firstFrame, count};
            one.step = taps.step;
            one.fraction = taps.starts[i % 2];
            sources.push_back(RandomSource(random, one));
            taps.sources[i] = sources.back().bytes;
        }
    }
};

TEST(Kernels, EverySetMixesTapsAsTheReference) {
    random_t random(20240612);
    uint64_t updates = 0;
    for (int round = 0; round < 5000 && !HasFailure(); ++round) {
        const taps_call_t call(random);
        SCOPED_TRACE(testing::Message() << "round " << round << ", " << (call.is16Bit ? 16 : 8) << " bits, "
                                        << (1 << call.kernel) << " taps, count " << call.count << " offset "
                                        << call.firstFrame << " step " << call.taps.step << " starts "
                                        << call.taps.starts[0] << " " << call.taps.starts[1]);
        entries_t before(2 * (call.firstFrame / 2 + call.count / 2 + 2) + 2 * guards);
        // Lifted, so that no sum of two calls leaves its slot downwards.
        for (double& entry : before) entry = RandomEntry(random) + 0x1p60;
        // Gains of any size are only asked not to read or write elsewhere.
        const bool isInsideSlots =
            std::all_of(call.taps.k, call.taps.k + 8, [](int32_t k) { return std::abs(k) <= 128; });
        updates += CompareSets(before, isInsideSlots, [&](const kernel_set_t& set, double* entries) {
            set.taps[call.is16Bit][call.kernel](entries, call.firstFrame * 2, call.count, call.taps);
        });
    }
    EXPECT_GT(updates, 1000000u);
}

TEST(Kernels, EverySetConvertsAndCollectsAsTheReference) {
    random_t random(5);
    for (uint32_t count = 0; count < 900; count += 2) {
        entries_t entries(count);
        for (double& entry : entries) {
            entry = random() % 4 != 0 ? silence + static_cast<double>(Below(random, 60000)) * 0x1p43 +
                                            static_cast<double>(Below(random, 60000)) * 0x1p9
                                      : RandomEntry(random);
        }
        std::vector<uint8_t> wanted(4 * size_t{count} + 8, 0x5A);
        referenceKernels.convert(entries.data(), count, wanted.data());
        for (const kernel_set_t* set : SupportedSets()) {
            std::vector<uint8_t> got(wanted.size(), 0x5A);
            set->convert(entries.data(), count, got.data());
            ASSERT_EQ(got, wanted) << set->name << " count " << count;
            const uint64_t bias = random();
            ASSERT_EQ(set->collect(entries.data(), count, bias),
                      referenceKernels.collect(entries.data(), count, bias))
                << set->name << " count " << count;
        }
    }
}

#if LDBL_MANT_DIG == 64
// The reference rounds in integers; the same sums with a 64-bit mantissa round at the store alone.
TEST(Kernels, ReferenceEqualsExtendedPrecision) {
    constexpr uint64_t seed = 7;
    random_t random(seed);
    for (int round = 0; round < 200000; ++round) {
        const uint64_t low = random() & 0xFFFF, high = random() & 0xFFFF;
        const int32_t k = static_cast<int32_t>(Below(random, 513)) - 256;
        const uint8_t source[] = {static_cast<uint8_t>(low), static_cast<uint8_t>(low >> 8),
                                  static_cast<uint8_t>(high), static_cast<uint8_t>(high >> 8)};
        double pair[2] = {RandomEntry(random), RandomEntry(random)};
        const long double word = static_cast<long double>(high << 43 | low << 11);
        const long double bias = 128.0L * k * (0x1p43L + 0x1p11L);
        const double wantedLeft = static_cast<double>(pair[0] + word * k / 256 - bias);
        const double wantedRight = static_cast<double>(pair[1] + word - (0x1p58L + 0x1p26L));
        referenceKernels.gain[KernelIndex(true, false)](pair, 0, source, 2, k * 256, 256 * 256, 1024, 0);
        ASSERT_EQ(pair[0], wantedLeft) << "seed " << seed << " round " << round;
        ASSERT_EQ(pair[1], wantedRight) << "seed " << seed << " round " << round;
    }
}
#endif

// What the output makes of an entry: low slot to nearest, high slot down.
std::pair<int, int> Slots(double entry) {
    const uint64_t bits = std::bit_cast<uint64_t>(entry + 0x1p63);
    return {static_cast<int>(bits & 0xFFFFFF) - 0x80000, static_cast<int>(bits >> 32 & 0xFFFFF) - 0x80000};
}

using frame_t = std::pair<int, int>;

struct case_t {
    const char* name;
    call_t call;
    std::vector<uint8_t> source;
    std::vector<frame_t> wanted;  // output frames from 0 on, as left and right; silent behind the last
};

constexpr kernel_t plainStereo16{false, true, true}, plainMono16{false, true, false};
constexpr kernel_t plainMono8{false, false, false};
constexpr kernel_t gainStereo16{true, true, true}, gainMono16{true, true, false};
constexpr kernel_t gainStereo8{true, false, true}, gainMono8{true, false, false};
constexpr int32_t half16 = 0x8000, full16 = 0x10000, half8 = 0x800000, full8 = 0x1000000;

std::vector<frame_t> FourTimes(const std::vector<frame_t>& frames) {
    std::vector<frame_t> all;
    for (const frame_t& frame : frames) all.insert(all.end(), 4, frame);
    return all;
}

// Samples in memory form: 100 is 64 80, -100 is 9C 7F, 3 is 03 80, -3 is FD 7F.
const case_t cases[] = {
    {"count 0", {plainStereo16, 4, 0}, {}, {}},
    {"one frame, even", {plainStereo16, 0, 1}, {0x64, 0x80, 0x9C, 0x7F}, {{100, -100}}},
    {"one frame, odd", {plainStereo16, 1, 1}, {0x64, 0x80, 0x9C, 0x7F}, {{0, 0}, {100, -100}}},
    {"two frames from odd",
     {plainMono16, 1, 2},
     {0x64, 0x80, 0x9C, 0x7F},
     {{0, 0}, {100, 100}, {-100, -100}}},
    {"8 bits, top and bottom", {plainMono8, 0, 2}, {0xFF, 0x00}, {{32512, 32512}, {-32768, -32768}}},
    {"divisor 2 starts on the pair", {plainMono8, 3, 1, 2}, {0x81}, {{0, 0}, {0, 0}, {256, 256}, {256, 256}}},
    {"divisor 4 touches 6 pairs",
     {plainStereo16, 0, 3, 4},
     {0x64, 0x80, 0x9C, 0x7F, 0x65, 0x80, 0x9D, 0x7F, 0x66, 0x80, 0x9E, 0x7F},
     FourTimes({{100, -100}, {101, -99}, {102, -98}})},
    {"divisor 3 mixes nothing", {plainMono8, 0, 1, 3}, {0xFF}, {}},
    {"1.5 goes to 2 low and 1 high",
     {gainMono16, 0, 2, 1, half16, half16},
     {3, 0x80, 3, 0x80},
     {{2, 2}, {1, 1}}},
    {"-1.5 goes to -2 in both",
     {gainMono16, 0, 2, 1, half16, half16},
     {0xFD, 0x7F, 0xFD, 0x7F},
     {{-2, -2}, {-2, -2}}},
    {"left alone", {gainMono16, 0, 1, 1, full16, 0}, {0x64, 0x80}, {{100, 0}}},
    {"each channel its gain", {gainStereo8, 0, 1, 1, half8, full8}, {0x82, 0x82}, {{256, 512}}},
    {"8 bits need 1/65536 of a gain", {gainMono8, 0, 1, 1, full8 - 1, full8}, {0x81}, {{255, 256}}},
    {"negative gain rounds k down", {gainMono16, 1, 1, 1, -1, -full16}, {0, 0x81}, {{0, 0}, {-1, -256}}},
    {"silence at any gain",
     {gainStereo16, 1, 2, 1, 0x7FFFFFFF, -12345},
     {0, 0x80, 0, 0x80, 0, 0x80, 0, 0x80},
     {}},
    {"gain 0", {gainStereo16, 0, 1, 1, 255, 0}, {0xFF, 0xFF, 0, 0}, {}},
    {"positions wrap at 32 bits",
     {gainMono8, 0, 2, 1, full8, full8, 0xFFFFFC00, 1024},
     {0x81, 0x82},
     {{512, 512}, {256, 256}}},
};

TEST(Kernels, WorkedCasesOnEverySet) {
    for (const kernel_set_t* set : SupportedSets()) {
        for (const case_t& row : cases) {
            SCOPED_TRACE(std::string(set->name) + ": " + row.name);
            entries_t entries(16, silence);
            source_t source(row.source.size(), 1);
            std::copy(row.source.begin(), row.source.end(), source.bytes);
            Mix(*set, row.call, entries.data(), source.bytes);
            for (size_t i = 0; i < entries.size(); ++i) {
                auto wanted = [&](size_t frame) {
                    if (frame >= row.wanted.size()) return 0;
                    return i % 2 == 0 ? row.wanted[frame].first : row.wanted[frame].second;
                };
                const std::pair slots(wanted(i / 2 * 2), wanted(i / 2 * 2 + 1));
                EXPECT_EQ(Slots(entries[i]), slots) << "entry " << i;
                // Where nothing is heard, nothing has changed: not even a fraction.
                EXPECT_EQ(entries[i] == silence, slots == std::pair(0, 0)) << "entry " << i;
            }
        }
    }
}

TEST(Kernels, EntryBits) {
    const uint8_t source[] = {0x64, 0x80, 0x9C, 0x7F};  // +100, -100
    for (const kernel_set_t* set : SupportedSets()) {
        double plain[] = {silence, silence}, gain[] = {silence, silence};
        Mix(*set, {plainMono16, 0, 2}, plain, source);
        Mix(*set, {gainMono16, 0, 2, 1, full16, half16}, gain, source);
        EXPECT_EQ(std::bit_cast<uint64_t>(plain[0]), 0x43CFFE7000200190u) << set->name;
        EXPECT_EQ(plain[1], plain[0]) << set->name;
        EXPECT_EQ(gain[0], plain[0]) << set->name << ": k = 256 is the plain kernel";
        EXPECT_EQ(std::bit_cast<uint64_t>(gain[1]), 0x43CFFF38002000C8u) << set->name;
    }
}

TEST(Kernels, SelectByName) {
    const kernel_set_t& best = ActiveKernels();
    EXPECT_EQ(&best, SupportedSets().front());
    EXPECT_FALSE(SelectKernels("no such set"));
    EXPECT_EQ(&ActiveKernels(), &best);
    for (const kernel_set_t* set : AllKernelSets()) {
        EXPECT_EQ(SelectKernels(set->name), set->isSupported()) << set->name;
        EXPECT_EQ(&ActiveKernels() == set, set->isSupported()) << set->name;
    }
    EXPECT_TRUE(SelectKernels(best.name));
}

// What the named kernels leave in a ring of silence.
template <class mix_t>
entries_t InSilence(mix_t mix) {
    entries_t ring(32, silence);
    double* const realRing = std::exchange(AudioSystem::ringEntries, ring.data());
    mix();
    AudioSystem::ringEntries = realRing;
    return ring;
}

TEST(Kernels, NamedKernelsMixIntoTheRing) {
    std::vector<uint8_t> source(64);
    for (size_t i = 0; i < source.size(); ++i) source[i] = static_cast<uint8_t>(37 * i + 11);
    const struct {
        bool is16Bit, isStereo;
        decltype(&MixPlainMono8) plain;
        decltype(&MixGainMono8) gain;
    } rows[] = {{true, true, MixPlainStereo16, MixGainStereo16},
                {true, false, MixPlainMono16, MixGainMono16},
                {false, true, MixPlainStereo8, MixGainStereo8},
                {false, false, MixPlainMono8, MixGainMono8}};
    for (const auto& row : rows) {
        for (const bool isGain : {false, true}) {
            const call_t call{{isGain, row.is16Bit, row.isStereo}, 3, 6, 2, 0x34567, 0x654321, 1500, 700};
            entries_t wanted(32, silence);
            Mix(referenceKernels, call, wanted.data(), source.data());
            const entries_t got = InSilence([&] {
                if (!isGain) row.plain(6, source.data(), 6, 2);
                if (isGain)
                    row.gain(6, source.data(), 6, call.leftGain, call.rightGain, call.step, call.fraction);
            });
            EXPECT_TRUE(SameBits(got, wanted)) << call;
            EXPECT_NE(wanted[4], silence);
        }
    }
}

// The named multi-source kernels against gain kernels, where those can do the same.
TEST(Kernels, NamedTapKernelsTakeTheirArguments) {
    std::vector<uint8_t> source(200);
    for (size_t i = 0; i < source.size(); ++i) source[i] = static_cast<uint8_t>(57 * i + 11);
    const uint8_t* s = source.data();
    const entries_t gain16 = InSilence([&] { MixGainMono16(6, s, 7, 0x8000, 0x4000, 1331, 700); });
    const auto expectGain16 = [&](auto mix) { EXPECT_TRUE(SameBits(InSilence(mix), gain16)); };
    expectGain16([&] { MixTapsOne16(6, s, s, 7, 700, 700, 1331, 1.0f, 1.0f, 0x8000, 0x4000); });
    expectGain16([&] {  // a tap of gain 0 has no effect
        MixTapsTwo16(6, s, s, s + 9, s + 5, 7, 700, 700, 1331, 0.5f, 1.0f, 0.0f, 0.0f, 0x10000, 0x4000);
    });
    expectGain16([&] {  // shares of one gain
        MixTapsFour16(6, s, s, s, s, s, s, s, s, 7, 700, 700, 1331, 0.25f, 0.5f, 0.125f, 0.5f, 0.375f, -1.0f,
                      0.25f, 1.0f, 0x8000, 0x4000);
    });
    const entries_t gain8 = InSilence([&] {
        MixGainMono8(2, s, 7, 0x800000, 0, 1024, 0);
        MixGainMono8(2, s + 3, 7, 0, 0x400000, 1024, 0);
    });
    const auto expectGain8 = [&](auto mix) { EXPECT_TRUE(SameBits(InSilence(mix), gain8)); };
    // Right runs ahead.
    expectGain8([&] { MixTapsOne8(2, s, s, 7, 0, 3072, 1024, 1.0f, 1.0f, 0x800000, 0x400000); });
    expectGain8([&] {
        MixTapsTwo8(2, s, s + 3, s, s + 3, 7, 0, 0, 1024, 0.75f, 0.5f, 0.25f, 0.5f, 0x800000, 0x400000);
    });
    expectGain8([&] {
        MixTapsFour8(2, s, s + 3, s, s + 3, s, s + 3, s, s + 3, 7, 0, 0, 1024, 0.25f, 0.25f, 0.25f, 0.25f,
                     0.25f, 0.25f, 0.25f, 0.25f, 0x800000, 0x400000);
    });
    // The product lies 2^-24 below 12319 << 16, which no double tells from it; a gain that is no number is 0.
    const uint8_t quiet[] = {0x81, 0x7F};
    const entries_t below = InSilence([&] { MixGainMono8(0, quiet, 2, 12318 << 16, 0, 1024, 0); });
    for (const int sign : {1, -1}) {
        const float tap = static_cast<float>(sign) * 16774581 * 0x1p-24f;
        const int32_t gain = sign * 807464803;
        const auto mix = [&] { MixTapsOne8(0, quiet, quiet, 2, 0, 0, 1024, tap, NAN, gain, 0x1000000); };
        EXPECT_TRUE(SameBits(InSilence(mix), below));
    }
}

}  // namespace
