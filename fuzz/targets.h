// targets.h - the fuzz targets by name. Each is a function in a file of that name, and has a folder of inputs
// in corpus/.
#pragma once

#include <cstddef>
#include <cstdint>

int FuzzSoundFile(const uint8_t* data, std::size_t size);
int FuzzArchive(const uint8_t* data, std::size_t size);
int FuzzWaveImport(const uint8_t* data, std::size_t size);
int FuzzBinaryStream(const uint8_t* data, std::size_t size);
int FuzzImaCodec(const uint8_t* data, std::size_t size);
int FuzzScene(const uint8_t* data, std::size_t size);
int FuzzHostProgram(const uint8_t* data, std::size_t size);

namespace fuzz {

struct target_t {
    const char* name;
    int (*run)(const uint8_t* data, std::size_t size);
};

inline constexpr target_t targets[] = {
    {"sound_file", FuzzSoundFile},       {"archive", FuzzArchive},    {"wave_import", FuzzWaveImport},
    {"binary_stream", FuzzBinaryStream}, {"ima_codec", FuzzImaCodec}, {"scene", FuzzScene},
    {"host_program", FuzzHostProgram},
};

}  // namespace fuzz
