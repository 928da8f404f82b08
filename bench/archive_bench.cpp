// What loading an archive costs, beside reading its file and flipping the samples in one pass.
#include <benchmark/benchmark.h>

#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "compressed/ima_adpcm_file.h"
#include "compressed/ima_adpcm_sound.h"
#include "sounds/archive.h"
#include "sounds/sample_heap.h"
#include "sounds/simple_sound.h"
#include "sounds/sound_file.h"

namespace {

constexpr uint32_t soundFrames = 1'000'000;
constexpr int soundCount = 16;

std::vector<int16_t> Noise() {
    std::minstd_rand random(1);
    std::vector<int16_t> samples(std::size_t{soundFrames} * 2);
    for (int16_t& sample : samples) sample = static_cast<int16_t>(random());
    return samples;
}

// An archive of sounds of two million samples each, on disk as long as the object lives.
class ArchiveOnDisk_t {
  public:
    explicit ArchiveOnDisk_t(bool isCompressed) {
        const std::vector<int16_t> samples = Noise();
        const std::string blocks(std::size_t{2048} * (soundFrames / 2041), '\0');
        Archive_t archive;
        for (int i = 0; i < soundCount; ++i) {
            const sound_header_t header{"sound" + std::to_string(i),
                                        isCompressed ? soundFrames / 2041 * 2041 : soundFrames, true, true};
            std::string image = isCompressed
                                    ? FormatImaHeader(2048, header, static_cast<uint32_t>(blocks.size()))
                                    : FormatSoundHeader(header);
            if (isCompressed) {
                image += blocks;
            } else {
                image.append(reinterpret_cast<const char*>(samples.data()), samples.size() * 2);
            }
            Sound_t* sound = isCompressed ? new IMA_ADPCM_Sound_t : static_cast<Sound_t*>(new SimpleSound_t);
            sound->LoadFromBuffer(image.data(), static_cast<unsigned>(image.size()));
            sound->classTag = isCompressed ? "isn" : "sn";
            archive.FindOrInsert(header.name.c_str()) = sound;
        }
        archive.Save(path.c_str());
        bytes = std::filesystem::file_size(path);
    }
    ~ArchiveOnDisk_t() { std::filesystem::remove(path); }
    ArchiveOnDisk_t(const ArchiveOnDisk_t&) = delete;
    ArchiveOnDisk_t& operator=(const ArchiveOnDisk_t&) = delete;

    std::filesystem::path path = std::filesystem::temp_directory_path() / "ringmix-bench.archive";
    std::size_t bytes = 0;
};

void LoadArchive(benchmark::State& state, bool isCompressed) {
    const ArchiveOnDisk_t disk(isCompressed);
    for ([[maybe_unused]] auto round : state) {
        Archive_t archive;
        archive.Load(disk.path.c_str(), "bench");
        if (archive.count != soundCount) return state.SkipWithError("not loaded");
    }
    state.SetBytesProcessed(static_cast<int64_t>(disk.bytes) * state.iterations());
}

// Into as many blocks as the sounds have, each flipped as it is read.
void ReadAndFlip(benchmark::State& state, bool isCompressed) {
    const ArchiveOnDisk_t disk(isCompressed);
    for ([[maybe_unused]] auto round : state) {
        samples_t pieces[soundCount];
        const std::size_t pieceBytes = disk.bytes / soundCount;
        FILE* file = std::fopen(disk.path.c_str(), "rb");
        for (auto& piece : pieces) {
            piece = AllocateSamples(pieceBytes);
            if (!piece || !file || std::fread(piece.get(), 1, pieceBytes, file) != pieceBytes)
                state.SkipWithError("not read");
            if (!isCompressed) FlipSamples(piece.get(), pieceBytes, true);
            benchmark::DoNotOptimize(piece.get());
        }
        if (file) std::fclose(file);
    }
    state.SetBytesProcessed(static_cast<int64_t>(disk.bytes) * state.iterations());
}

BENCHMARK_CAPTURE(LoadArchive, sn, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ReadAndFlip, sn, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LoadArchive, isn, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ReadAndFlip, isn, true)->Unit(benchmark::kMillisecond);

}  // namespace
