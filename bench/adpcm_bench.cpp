// What a decoded ADPCM sample costs, beside libsndfile's decoder on the same data, and what loading an
// archive costs, beside a plain read of its file.
//
// Both decoders work in memory and hand out a host frame's worth at a time. Libsndfile's time includes its
// own block buffer and the calls that fill it.
#include <benchmark/benchmark.h>
#include <sndfile.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "compressed/ima_adpcm_file.h"
#include "compressed/ima_adpcm_sound.h"
#include "compressed/ima_blocks.h"
#include "sounds/archive.h"
#include "sounds/simple_sound.h"
#include "sounds/sound_file.h"

namespace {

constexpr uint32_t framesPerCall = 735, soundFrames = 1'000'000;
constexpr int soundCount = 16;  // of an archive

using samples_t = std::vector<int16_t>;

// A random walk: nibbles of every size.
samples_t Walk(uint32_t count) {
    std::mt19937 random(1);
    samples_t samples(count);
    int32_t at = 0;
    for (int16_t& sample : samples) {
        at += static_cast<int32_t>(random() % 6001) - 3000 - at / 16;
        sample = static_cast<int16_t>(at);
    }
    return samples;
}

uint32_t BlockBytes(bool isStereo) { return isStereo ? 2048 : 512; }

std::string Encode(const samples_t& samples, bool isStereo) {
    const uint32_t blockBytes = BlockBytes(isStereo);
    const std::size_t perBlock = ImaSamplesPerBlock(blockBytes, isStereo) * (isStereo ? 2u : 1u);
    std::string blocks(samples.size() / perBlock * blockBytes, '\0');
    ImaChannelState_t channels[2] = {};
    for (std::size_t b = 0; b < samples.size() / perBlock; ++b) {
        (isStereo ? EncodeBlockStereo : EncodeBlockMono)(&samples[b * perBlock],
                                                         reinterpret_cast<uint8_t*>(&blocks[b * blockBytes]),
                                                         blockBytes, channels);
    }
    return blocks;
}

// A file in memory, for libsndfile.
struct memory_file_t {
    std::string bytes;
    std::size_t at = 0;

    static memory_file_t& Of(void* user) { return *static_cast<memory_file_t*>(user); }
    static sf_count_t Size(void* user) { return static_cast<sf_count_t>(Of(user).bytes.size()); }
    static sf_count_t Tell(void* user) { return static_cast<sf_count_t>(Of(user).at); }
    static sf_count_t Seek(sf_count_t offset, int whence, void* user) {
        const sf_count_t from = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? Tell(user) : Size(user);
        Of(user).at = static_cast<std::size_t>(from + offset);
        return from + offset;
    }
    static sf_count_t Read(void* to, sf_count_t count, void* user) {
        const sf_count_t part = std::min(count, Size(user) - Tell(user));
        std::memcpy(to, Of(user).bytes.data() + Of(user).at, static_cast<std::size_t>(part));
        Of(user).at += static_cast<std::size_t>(part);
        return part;
    }
    static sf_count_t Write(const void* from, sf_count_t count, void* user) {
        const auto bytes = static_cast<std::size_t>(count);
        Of(user).bytes.resize(std::max(Of(user).bytes.size(), Of(user).at + bytes));
        std::memcpy(Of(user).bytes.data() + Of(user).at, from, bytes);
        Of(user).at += bytes;
        return count;
    }

    SNDFILE* Open(int mode, SF_INFO& info) {
        static SF_VIRTUAL_IO calls = {Size, Seek, Read, Write, Tell};
        at = 0;
        return sf_open_virtual(&calls, mode, &info, this);
    }
};

// The file is encoded by libsndfile, at the rate that gives it our block size.
memory_file_t EncodeElsewhere(const samples_t& samples, bool isStereo) {
    memory_file_t file;
    SF_INFO info{};
    info.samplerate = isStereo ? 44100 : 22050;
    info.channels = isStereo ? 2 : 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_IMA_ADPCM;
    SNDFILE* wave = file.Open(SFM_WRITE, info);
    sf_write_short(wave, samples.data(), static_cast<sf_count_t>(samples.size()));
    sf_close(wave);
    return file;
}

void ReportPerSample(benchmark::State& state, std::size_t samples) {
    state.counters["per_sample"] =
        benchmark::Counter(static_cast<double>(samples),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// Whole blocks only: what stands behind the last one is each encoder's own.
struct job_t {
    bool isStereo;
    uint32_t channels, frames;
    samples_t source;

    explicit job_t(bool stereo) : isStereo(stereo), channels(stereo ? 2 : 1) {
        const uint32_t perBlock = ImaSamplesPerBlock(BlockBytes(stereo), stereo);
        frames = soundFrames / perBlock * perBlock;
        source = Walk(frames * channels);
    }

    // decode(out, first, end), call by call.
    template <typename Decode>
    void Run(samples_t& out, Decode decode) const {
        out.resize(source.size());
        for (uint32_t at = 0; at < frames; at += framesPerCall)
            decode(&out[std::size_t{at} * channels], at, std::min(at + framesPerCall, frames));
    }
};

void DecodeHere(benchmark::State& state, bool isStereo) {
    const job_t job(isStereo);
    const std::string blocks = Encode(job.source, isStereo);
    const uint32_t blockBytes = BlockBytes(isStereo);
    const ImaBlocks_t sound{reinterpret_cast<const uint8_t*>(blocks.data()), blockBytes,
                            ImaSamplesPerBlock(blockBytes, isStereo), isStereo};
    samples_t out, wanted;
    for ([[maybe_unused]] auto round : state) {
        ImaChannelState_t channels[2] = {};
        job.Run(out,
                [&](int16_t* to, uint32_t from, uint32_t end) { sound.Decode(to, from, end, channels); });
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    SF_INFO info{};
    memory_file_t elsewhere = EncodeElsewhere(job.source, isStereo);
    SNDFILE* wave = elsewhere.Open(SFM_READ, info);
    wanted.resize(job.source.size());
    sf_read_short(wave, wanted.data(), static_cast<sf_count_t>(wanted.size()));
    sf_close(wave);
    if (out != wanted) return state.SkipWithError("not what libsndfile decodes");
    ReportPerSample(state, out.size());
}

void DecodeInLibsndfile(benchmark::State& state, bool isStereo) {
    const job_t job(isStereo);
    memory_file_t file = EncodeElsewhere(job.source, isStereo);
    SF_INFO info{};
    SNDFILE* wave = file.Open(SFM_READ, info);
    samples_t out;
    for ([[maybe_unused]] auto round : state) {
        sf_seek(wave, 0, SEEK_SET);
        job.Run(out, [&](int16_t* to, uint32_t from, uint32_t end) { sf_readf_short(wave, to, end - from); });
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    sf_close(wave);
    ReportPerSample(state, out.size());
}

// An archive of sounds of two million samples each, on disk as long as the object lives.
class ArchiveOnDisk_t {
  public:
    explicit ArchiveOnDisk_t(bool isCompressed) {
        const job_t job(true);
        const std::string blocks = Encode(job.source, true);
        Archive_t archive;
        for (int i = 0; i < soundCount; ++i) {
            const sound_header_t header{"sound" + std::to_string(i), job.frames, true, true};
            std::string image = isCompressed
                                    ? FormatImaHeader(2048, header, static_cast<uint32_t>(blocks.size()))
                                    : FormatSoundHeader(header);
            if (isCompressed) {
                image += blocks;
            } else {
                image.append(reinterpret_cast<const char*>(job.source.data()), job.source.size() * 2);
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

// Into as many fresh blocks as the sounds have.
void ReadPlainly(benchmark::State& state, bool isCompressed) {
    const ArchiveOnDisk_t disk(isCompressed);
    for ([[maybe_unused]] auto round : state) {
        std::unique_ptr<char[]> pieces[soundCount];
        const std::size_t pieceBytes = disk.bytes / soundCount;
        FILE* file = std::fopen(disk.path.c_str(), "rb");
        for (auto& piece : pieces) {
            piece.reset(new char[pieceBytes]);
            if (!file || std::fread(piece.get(), 1, pieceBytes, file) != pieceBytes)
                state.SkipWithError("not read");
            benchmark::DoNotOptimize(piece.get());
        }
        if (file) std::fclose(file);
    }
    state.SetBytesProcessed(static_cast<int64_t>(disk.bytes) * state.iterations());
}

BENCHMARK_CAPTURE(DecodeHere, mono, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(DecodeInLibsndfile, mono, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(DecodeHere, stereo, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(DecodeInLibsndfile, stereo, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LoadArchive, sn, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ReadPlainly, sn, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LoadArchive, isn, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ReadPlainly, isn, true)->Unit(benchmark::kMillisecond);

}  // namespace
