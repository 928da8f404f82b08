// spectrogram.h - the spectrum of a signal of known length over time, as many columns and rows as a picture
// has.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace tools {

class Spectrogram_t {
  public:
    static constexpr double lowestHz = 30.0;
    static constexpr uint32_t windowFrames = 2048;

    // Rows go from lowestHz to half the rate in equal ratios.
    Spectrogram_t(uint32_t channels, uint32_t rateHz, uint64_t frames, uint32_t columns, uint32_t rows);
    Spectrogram_t(const Spectrogram_t&) = delete;
    Spectrogram_t& operator=(const Spectrogram_t&) = delete;
    ~Spectrogram_t();

    void Add(const double* interleaved, size_t frames);
    void Finish();  // once, behind the last frame

    uint32_t Columns() const { return columnCount; }
    uint32_t Rows() const { return rowCount; }
    double HighestHz() const { return highestHz; }
    // dB: 0 is a sine wave of full scale in all channels. Row 0 is the lowest.
    float At(uint32_t column, uint32_t row) const { return decibels[size_t{column} * rowCount + row]; }

  private:
    struct transform_t;
    struct row_t {
        double firstBin, lastBin;
    };

    double CentreOf(uint32_t column, uint32_t part) const;
    void TransformReady(bool isLast);
    void TransformAt(int64_t centre);
    void EndColumn();

    uint32_t channelCount, columnCount, rowCount;
    uint64_t frameCount;
    double highestHz;
    uint32_t partsPerColumn;
    std::vector<row_t> rows;
    std::vector<float> decibels;
    std::unique_ptr<transform_t> transform;
    uint32_t nextColumn = 0, nextPart = 0;  // to be transformed
    std::vector<double> pending;            // interleaved
    int64_t pendingFrame = 0;               // the first of them; below 0: silence ahead of the signal
    std::vector<double> power, rowPower;    // by bin, of one transform; by row, of one column
};

}  // namespace tools
