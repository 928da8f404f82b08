// spectrogram.cpp - Hann windows of 46 ms, half overlapping where a column is wider; the power of all
// channels and of all windows of a column is averaged.
#include "tools/spectrogram.h"

#include <fftw3.h>

#include <algorithm>
#include <cmath>

namespace tools {

namespace {

constexpr uint32_t bins = Spectrogram_t::windowFrames / 2 + 1;
constexpr int64_t halfWindow = Spectrogram_t::windowFrames / 2;
constexpr float silentDecibels = -200.0f;

}  // namespace

struct Spectrogram_t::transform_t {
    double* in = fftw_alloc_real(windowFrames);
    fftw_complex* out = fftw_alloc_complex(bins);
    fftw_plan plan = fftw_plan_dft_r2c_1d(static_cast<int>(windowFrames), in, out, FFTW_ESTIMATE);
    std::vector<double> window;
    double scale = 0.0;

    transform_t() {
        double sum = 0.0;
        for (uint32_t i = 0; i < windowFrames; ++i) {
            window.push_back(0.5 - 0.5 * std::cos(2.0 * std::acos(-1.0) * i / windowFrames));
            sum += window.back();
        }
        scale = 4.0 / (sum * sum);
    }
    ~transform_t() {
        fftw_destroy_plan(plan);
        fftw_free(in);
        fftw_free(out);
    }
    transform_t(const transform_t&) = delete;
    transform_t& operator=(const transform_t&) = delete;
};

Spectrogram_t::Spectrogram_t(uint32_t channels, uint32_t rateHz, uint64_t frames, uint32_t columns,
                             uint32_t rowsWanted)
    : channelCount(channels),
      columnCount(columns),
      rowCount(rowsWanted),
      frameCount(frames),
      highestHz(std::max(rateHz / 2.0, 2 * lowestHz)),
      partsPerColumn(static_cast<uint32_t>(
          std::max<uint64_t>(1, (frames / std::max(1u, columns) + halfWindow - 1) / halfWindow))),
      decibels(size_t{columns} * rowsWanted, silentDecibels),
      transform(std::make_unique<transform_t>()),
      pending(size_t{windowFrames} * channels),
      pendingFrame(-int64_t{windowFrames}),
      power(bins),
      rowPower(rowsWanted) {
    const double ratio = highestHz / lowestHz, hzPerBin = static_cast<double>(rateHz) / windowFrames;
    for (uint32_t row = 0; row < rowCount; ++row) {
        const double from = lowestHz * std::pow(ratio, static_cast<double>(row) / rowCount);
        const double to = lowestHz * std::pow(ratio, (row + 1.0) / rowCount);
        rows.push_back(
            {std::min<double>(from / hzPerBin, bins - 1), std::min<double>(to / hzPerBin, bins - 1)});
    }
}

Spectrogram_t::~Spectrogram_t() = default;

double Spectrogram_t::CentreOf(uint32_t ofColumn, uint32_t ofPart) const {
    const double columnFrames = static_cast<double>(frameCount) / columnCount;
    return columnFrames * (ofColumn + (ofPart + 0.5) / partsPerColumn);
}

void Spectrogram_t::Add(const double* interleaved, size_t frames) {
    pending.insert(pending.end(), interleaved, interleaved + frames * channelCount);
    TransformReady(false);
}

void Spectrogram_t::Finish() {
    pending.resize(pending.size() + size_t{windowFrames} * channelCount);
    TransformReady(true);
}

void Spectrogram_t::TransformReady(bool isLast) {
    const int64_t end = pendingFrame + static_cast<int64_t>(pending.size() / channelCount);
    while (nextColumn < columnCount) {
        const auto centre = static_cast<int64_t>(CentreOf(nextColumn, nextPart));
        if (centre + halfWindow > end) {
            if (!isLast) break;
            return;  // the signal was shorter than was said
        }
        TransformAt(centre);
        if (++nextPart == partsPerColumn) EndColumn();
    }
    // The next window begins at or behind what stays.
    const auto next =
        nextColumn < columnCount ? static_cast<int64_t>(CentreOf(nextColumn, nextPart)) - halfWindow : end;
    const int64_t done = std::clamp<int64_t>(next - pendingFrame, 0, end - pendingFrame);
    pending.erase(pending.begin(), pending.begin() + done * channelCount);
    pendingFrame += done;
}

void Spectrogram_t::TransformAt(int64_t centre) {
    const auto first = static_cast<size_t>(centre - halfWindow - pendingFrame);
    std::fill(power.begin(), power.end(), 0.0);
    for (uint32_t channel = 0; channel < channelCount; ++channel) {
        for (uint32_t i = 0; i < windowFrames; ++i)
            transform->in[i] = pending[(first + i) * channelCount + channel] * transform->window[i];
        fftw_execute(transform->plan);
        for (uint32_t bin = 0; bin < bins; ++bin) {
            const double real = transform->out[bin][0], imaginary = transform->out[bin][1];
            power[bin] += (real * real + imaginary * imaginary) * transform->scale / channelCount;
        }
    }
    for (uint32_t row = 0; row < rowCount; ++row) {
        const auto [from, to] = rows[row];
        const double middle = (from + to) / 2;
        const auto below = std::min(static_cast<uint32_t>(middle), bins - 2);
        double strongest = power[below] + (power[below + 1] - power[below]) * (middle - below);
        for (auto bin = static_cast<uint32_t>(std::ceil(from)); bin <= to; ++bin)
            strongest = std::max(strongest, power[bin]);
        rowPower[row] += strongest;
    }
}

void Spectrogram_t::EndColumn() {
    for (uint32_t row = 0; row < rowCount; ++row) {
        const double mean = rowPower[row] / partsPerColumn;
        if (mean > 0.0)
            decibels[size_t{nextColumn} * rowCount + row] =
                std::max(silentDecibels, static_cast<float>(10.0 * std::log10(mean)));
        rowPower[row] = 0.0;
    }
    nextPart = 0;
    ++nextColumn;
}

}  // namespace tools
