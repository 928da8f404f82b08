// mix_taps.cpp - the named multi-source kernels: packs their long argument lists and works out each tap's
// gain.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "core/mix_ring.h"
#include "kernels/mix_kernels.h"

namespace {

// overall * tap without its fraction. The product has up to 55 bits: where a double rounds it away from 0 to
// a whole number, the true one lies below.
int32_t Product(int32_t overall, float tap) {
    const double product = static_cast<double>(overall) * tap;
    if (std::isnan(product)) return 0;
    double whole = std::trunc(product);
    if (whole == product && std::isfinite(product)) {
        const double rest = std::fma(static_cast<double>(overall), tap, -product);
        if ((rest < 0 && product > 0) || (rest > 0 && product < 0)) whole -= std::copysign(1.0, product);
    }
    using limits_t = std::numeric_limits<int32_t>;
    return static_cast<int32_t>(std::clamp<double>(whole, limits_t::min(), limits_t::max()));
}

template <std::size_t sourceCount>
void MixTaps(bool is16Bit, uint32_t ringAt, const uint8_t* const (&sources)[sourceCount],
             uint32_t outputFrames, uint32_t leftStart, uint32_t rightStart, uint32_t step,
             const float (&tapGains)[sourceCount], int32_t leftGain, int32_t rightGain) {
    taps_t taps{{}, {}, {leftStart, rightStart}, step};
    for (std::size_t i = 0; i < sourceCount; ++i) {
        taps.sources[i] = sources[i];
        taps.k[i] = Product(i % 2 == 0 ? leftGain : rightGain, tapGains[i]) >> (is16Bit ? 8 : 16);
    }
    constexpr std::size_t kernel = sourceCount / 4;  // 2, 4 and 8 sources
    ActiveKernels().taps[is16Bit][kernel](AudioSystem::ringEntries, ringAt, outputFrames, taps);
}

}  // namespace

void MixTapsOne16(uint32_t ringAt, const uint8_t* left1, const uint8_t* right1, uint32_t outputFrames,
                  uint32_t leftStart, uint32_t rightStart, uint32_t step, float leftTap1, float rightTap1,
                  int32_t leftGain, int32_t rightGain) noexcept {
    MixTaps<2>(true, ringAt, {left1, right1}, outputFrames, leftStart, rightStart, step,
               {leftTap1, rightTap1}, leftGain, rightGain);
}

void MixTapsOne8(uint32_t ringAt, const uint8_t* left1, const uint8_t* right1, uint32_t outputFrames,
                 uint32_t leftStart, uint32_t rightStart, uint32_t step, float leftTap1, float rightTap1,
                 int32_t leftGain, int32_t rightGain) noexcept {
    MixTaps<2>(false, ringAt, {left1, right1}, outputFrames, leftStart, rightStart, step,
               {leftTap1, rightTap1}, leftGain, rightGain);
}

void MixTapsTwo16(uint32_t ringAt, const uint8_t* left1, const uint8_t* right1, const uint8_t* left2,
                  const uint8_t* right2, uint32_t outputFrames, uint32_t leftStart, uint32_t rightStart,
                  uint32_t step, float leftTap1, float rightTap1, float leftTap2, float rightTap2,
                  int32_t leftGain, int32_t rightGain) noexcept {
    MixTaps<4>(true, ringAt, {left1, right1, left2, right2}, outputFrames, leftStart, rightStart, step,
               {leftTap1, rightTap1, leftTap2, rightTap2}, leftGain, rightGain);
}

void MixTapsTwo8(uint32_t ringAt, const uint8_t* left1, const uint8_t* right1, const uint8_t* left2,
                 const uint8_t* right2, uint32_t outputFrames, uint32_t leftStart, uint32_t rightStart,
                 uint32_t step, float leftTap1, float rightTap1, float leftTap2, float rightTap2,
                 int32_t leftGain, int32_t rightGain) noexcept {
    MixTaps<4>(false, ringAt, {left1, right1, left2, right2}, outputFrames, leftStart, rightStart, step,
               {leftTap1, rightTap1, leftTap2, rightTap2}, leftGain, rightGain);
}

void MixTapsFour16(uint32_t ringAt, const uint8_t* left1, const uint8_t* right1, const uint8_t* left2,
                   const uint8_t* right2, const uint8_t* left3, const uint8_t* right3, const uint8_t* left4,
                   const uint8_t* right4, uint32_t outputFrames, uint32_t leftStart, uint32_t rightStart,
                   uint32_t step, float leftTap1, float rightTap1, float leftTap2, float rightTap2,
                   float leftTap3, float rightTap3, float leftTap4, float rightTap4, int32_t leftGain,
                   int32_t rightGain) noexcept {
    MixTaps<8>(true, ringAt, {left1, right1, left2, right2, left3, right3, left4, right4}, outputFrames,
               leftStart, rightStart, step,
               {leftTap1, rightTap1, leftTap2, rightTap2, leftTap3, rightTap3, leftTap4, rightTap4}, leftGain,
               rightGain);
}

void MixTapsFour8(uint32_t ringAt, const uint8_t* left1, const uint8_t* right1, const uint8_t* left2,
                  const uint8_t* right2, const uint8_t* left3, const uint8_t* right3, const uint8_t* left4,
                  const uint8_t* right4, uint32_t outputFrames, uint32_t leftStart, uint32_t rightStart,
                  uint32_t step, float leftTap1, float rightTap1, float leftTap2, float rightTap2,
                  float leftTap3, float rightTap3, float leftTap4, float rightTap4, int32_t leftGain,
                  int32_t rightGain) noexcept {
    MixTaps<8>(false, ringAt, {left1, right1, left2, right2, left3, right3, left4, right4}, outputFrames,
               leftStart, rightStart, step,
               {leftTap1, rightTap1, leftTap2, rightTap2, leftTap3, rightTap3, leftTap4, rightTap4}, leftGain,
               rightGain);
}
