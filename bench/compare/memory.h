// memory.h - what a playing voice of each class holds in memory.
#pragma once

#include <string>
#include <vector>

struct memory_result_t {
    std::string voiceClass;
    double bytesPerVoice;  // negative: it could not be measured
};

std::vector<memory_result_t> MeasureMemory();
