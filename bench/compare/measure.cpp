#include "measure.h"

#include <time.h>

#include <algorithm>
#include <map>
#include <random>

namespace {

double Read(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

}  // namespace

double ProcessNs() { return Read(CLOCK_PROCESS_CPUTIME_ID); }
double ThreadNs() { return Read(CLOCK_THREAD_CPUTIME_ID); }
double WallNs() { return Read(CLOCK_MONOTONIC); }

double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

const std::vector<int16_t>& Noise(unsigned seed) {
    static std::map<unsigned, std::vector<int16_t>> known;
    std::vector<int16_t>& samples = known[seed];
    if (samples.empty()) {
        std::minstd_rand random(seed + 1);
        samples.resize(std::size_t{soundFrames} * 2);
        for (int16_t& sample : samples)
            sample = static_cast<int16_t>(static_cast<int>(random() % 1001) - 500);
    }
    return samples;
}
