// sound.cpp - the base class. The tables of sounds are in sound_table.cpp.
#include "sounds/sound.h"

#include <cstring>
#include <memory>

#include "platform/files.h"
#include "sounds/sample_heap.h"
#include "sounds/sound_file.h"

Sound_t::Sound_t() : name(defaultSoundName) {}

Sound_t::~Sound_t() {
    FreeSamples(samples);
    samples = nullptr;
}

bool Sound_t::IsASortOf(const char* className) const { return SameText(className, "Sound"); }

void Sound_t::LoadFromFile(const char* path) {
    const std::unique_ptr<FILE, int (*)(FILE*)> file(platform::OpenRegularFile(path), std::fclose);
    if (file) LoadFromStdio(file.get());
}

void Sound_t::TakeFormat(const sound_header_t& header) {
    frameCount = header.frameCount;
    isStereo = header.isStereo;
    is16Bit = header.is16Bit;
    bytesPerFrame = header.BytesPerFrame();
    rateDivisor = header.rateDivisor;
    lockFlags = header.lockFlags;
    baseVolume = header.baseVolume;
    name = header.name.c_str();
}

void FlipSign16(void* samples, std::size_t sampleCount) noexcept {
    auto* bytes = static_cast<uint8_t*>(samples);
    for (std::size_t i = 0; i < sampleCount; ++i) {
        uint16_t sample;
        std::memcpy(&sample, bytes + 2 * i, sizeof sample);
        sample ^= 0x8000;
        std::memcpy(bytes + 2 * i, &sample, sizeof sample);
    }
}

void FlipSign8(void* samples, std::size_t byteCount) noexcept {
    auto* bytes = static_cast<uint8_t*>(samples);
    for (std::size_t i = 0; i < byteCount; ++i) bytes[i] ^= 0x80;
}

void FlipSamples(void* samples, std::size_t byteCount, bool is16Bit) noexcept {
    if (is16Bit) {
        FlipSign16(samples, byteCount / 2);
    } else {
        FlipSign8(samples, byteCount);
    }
}
