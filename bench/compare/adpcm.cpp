// adpcm.cpp - what a decoded sample of IMA ADPCM costs, in windows of a host frame where the decoder has
// them.
//
// All work in memory on the same data, encoded in each one's own layout. Libsndfile's time includes its block
// buffer and the calls that fill it; libavcodec takes a packet a block.
#include "adpcm.h"

#include <sndfile.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>

#include "compressed/ima_blocks.h"

#ifdef RINGMIX_BENCH_AVCODEC
extern "C" {
#include <libavcodec/avcodec.h>
}
#endif

namespace {

constexpr uint32_t adpcmFrames = 100'000;

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

// Whole blocks only: what stands behind the last one is each encoder's own.
struct job_t {
    bool isStereo;
    uint32_t channels, frames;
    samples_t source;

    explicit job_t(bool stereo) : isStereo(stereo), channels(stereo ? 2 : 1) {
        const uint32_t perBlock = ImaSamplesPerBlock(BlockBytes(stereo), stereo);
        frames = adpcmFrames / perBlock * perBlock;
        source = Walk(frames * channels);
    }

    // decode(out, first, end), call by call.
    template <typename Decode>
    void Run(samples_t& out, Decode decode) const {
        out.resize(source.size());
        for (uint32_t at = 0; at < frames; at += framesPerTick)
            decode(&out[std::size_t{at} * channels], at, std::min(at + framesPerTick, frames));
    }
};

class Here_t final : public Decoder_t {
  public:
    explicit Here_t(const job_t& job_)
        : Decoder_t("ringmix"), job(job_), blocks(Encode(job.source, job.isStereo)) {}

    void DecodeAll(samples_t& out) override {
        const uint32_t blockBytes = BlockBytes(job.isStereo);
        const ImaBlocks_t sound{reinterpret_cast<const uint8_t*>(blocks.data()), blockBytes,
                                ImaSamplesPerBlock(blockBytes, job.isStereo), job.isStereo};
        ImaChannelState_t channels[2] = {};
        job.Run(out,
                [&](int16_t* to, uint32_t from, uint32_t end) { sound.Decode(to, from, end, channels); });
    }

  private:
    const job_t& job;
    const std::string blocks;
};

class Sndfile_t final : public Decoder_t {
  public:
    explicit Sndfile_t(const job_t& job_)
        : Decoder_t("libsndfile"), job(job_), file(EncodeElsewhere(job.source, job.isStereo)) {
        SF_INFO info{};
        wave = file.Open(SFM_READ, info);
    }
    ~Sndfile_t() override { sf_close(wave); }

    void DecodeAll(samples_t& out) override {
        sf_seek(wave, 0, SEEK_SET);
        job.Run(out, [&](int16_t* to, uint32_t from, uint32_t end) { sf_readf_short(wave, to, end - from); });
    }

  private:
    const job_t& job;
    memory_file_t file;
    SNDFILE* wave;
};

#ifdef RINGMIX_BENCH_AVCODEC
class Avcodec_t final : public Decoder_t {
  public:
    explicit Avcodec_t(const job_t& job_)
        : Decoder_t("libavcodec"), job(job_), file(EncodeElsewhere(job.source, job.isStereo)) {
        const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_ADPCM_IMA_WAV);
        context = avcodec_alloc_context3(codec);
        av_channel_layout_default(&context->ch_layout, static_cast<int>(job.channels));
        context->sample_rate = 44100;
        context->block_align = static_cast<int>(BlockBytes(job.isStereo));
        context->bits_per_coded_sample = 4;
        packet = av_packet_alloc();
        frame = av_frame_alloc();
        isOpen = codec && avcodec_open2(context, codec, nullptr) == 0;
        data = file.bytes.find("data") + 8;
    }
    ~Avcodec_t() override {
        av_frame_free(&frame);
        av_packet_free(&packet);
        avcodec_free_context(&context);
    }

    // Its samples come as planes; here they stay in them.
    void DecodeAll(samples_t& out) override {
        out.assign(job.source.size(), 0);
        if (!isOpen) return;
        const std::size_t blockBytes = BlockBytes(job.isStereo);
        std::size_t written = 0;
        for (std::size_t at = data; at + blockBytes <= file.bytes.size() && written < out.size();
             at += blockBytes) {
            packet->data = reinterpret_cast<uint8_t*>(&file.bytes[at]);
            packet->size = static_cast<int>(blockBytes);
            if (avcodec_send_packet(context, packet) != 0 || avcodec_receive_frame(context, frame) != 0)
                return;
            for (uint32_t c = 0; c < job.channels; ++c) {
                const auto count =
                    std::min<std::size_t>(static_cast<std::size_t>(frame->nb_samples), out.size() - written);
                std::memcpy(&out[written], frame->extended_data[c], count * 2);
                written += count;
            }
        }
    }

  private:
    const job_t& job;
    memory_file_t file;
    AVCodecContext* context;
    AVPacket* packet;
    AVFrame* frame;
    bool isOpen;
    std::size_t data;
};
#endif

bool IsHeard(const samples_t& samples) {
    const auto loud =
        std::count_if(samples.begin(), samples.end(), [](int16_t sample) { return sample != 0; });
    return loud > static_cast<std::ptrdiff_t>(samples.size() / 2);
}

}  // namespace

std::vector<adpcm_result_t> CompareAdpcm(const budget_t& budget) {
    std::vector<adpcm_result_t> results;
    for (const bool isStereo : {false, true}) {
        const job_t job(isStereo);
        std::vector<std::unique_ptr<Decoder_t>> decoders;
        decoders.push_back(std::make_unique<Here_t>(job));
        decoders.push_back(std::make_unique<Sndfile_t>(job));
#ifdef RINGMIX_BENCH_AVCODEC
        decoders.push_back(std::make_unique<Avcodec_t>(job));
#endif
        std::vector<std::vector<double>> slices(decoders.size());
        samples_t out(job.source.size()), first;
        for (int round = 0; round < budget.rounds; ++round) {
            for (std::size_t i = 0; i < decoders.size(); ++i) {
                const double before = ThreadNs();
                decoders[i]->DecodeAll(out);
                slices[i].push_back((ThreadNs() - before) / static_cast<double>(out.size()));
                if (i == 0) first = out;
                // Libavcodec rounds on its own; the other two agree to the bit.
                const bool isRight = i < 2 ? out == first : IsHeard(out);
                if (!isRight) slices[i].back() = -1.0;
            }
        }
        for (std::size_t i = 0; i < decoders.size(); ++i)
            results.push_back({decoders[i]->name, isStereo, Median(slices[i])});
    }
    return results;
}
