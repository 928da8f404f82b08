// ima_sound_test.cpp - IMA ADPCM sound files, their images and archive records: the bytes, and what is
// refused.
#include <gtest/gtest.h>

#include <fstream>
#include <memory>

#include "foundation/binary_stream.h"
#include "ima_sounds.h"
#include "scratch_folder.h"
#include "wave_bytes.h"

namespace {

using namespace std::string_literals;

enum class form_t { file, image, record };
constexpr form_t allForms[] = {form_t::file, form_t::image, form_t::record};
constexpr std::size_t dataBytes = 40;

// What a header says about 40 bytes of data.
struct header_t {
    uint32_t blockBytes, frames, isStereo, is16Bit, divisor, bytes;
};
constexpr header_t good = {8, 3, 0, 1, 1, 40};
constexpr uint32_t most = UINT32_MAX;

std::string Big(uint32_t value) {
    const std::string little = Little(value, 4);
    return {little.rbegin(), little.rend()};
}

std::string DataOf(const header_t& header) {
    const bool isUsable =
        IsImaBlockSize(header.blockBytes, header.isStereo) && header.blockBytes <= dataBytes;
    const uint32_t blockBytes = isUsable ? header.blockBytes : 8;
    std::string data = RandomBlocks(dataBytes / blockBytes, blockBytes, header.isStereo, 1);
    data.resize(dataBytes);
    return data;
}

std::string BytesOf(const header_t& header, form_t form) {
    if (form == form_t::record) {
        return Big(header.frames) + Big(header.isStereo) + Big(header.is16Bit) + Big(header.divisor) +
               Big(7) + Big(0x3F000000) + Big(1) + "a\0"s + Big(header.bytes) +
               DataOf(header).substr(0, header.bytes) + Big(header.blockBytes);
    }
    std::string text = "IMA_ADPCM_Sound " + std::to_string(header.blockBytes) + " a\0 "s;
    for (const uint32_t number : {header.frames, header.isStereo, header.is16Bit, header.divisor, 7u})
        text += std::to_string(number) + ' ';
    return text + "0.500 " + std::to_string(header.bytes) + ' ' + DataOf(header);
}

std::string RecordOf(Sound_t& sound) {
    BinaryStream stream(16);
    sound.Serialize(stream, true);
    return {stream.base, stream.writeCursor};
}

// The most memory that the process has asked for so far, in kB.
long PeakKb() {
    std::ifstream status("/proc/self/status");
    std::string word;
    long kb = 0;
    while (status >> word && word != "VmPeak:") continue;
    status >> kb;
    return kb;
}

class ImaSound : public testing::Test {
  protected:
    // The bytes stand in a heap block of exactly their size.
    void Load(IMA_ADPCM_Sound_t& sound, form_t form, const std::string& bytes) const {
        const std::unique_ptr<uint8_t[]> block(new uint8_t[bytes.size()]);
        std::memcpy(block.get(), bytes.data(), bytes.size());
        if (form == form_t::file) {
            sound.LoadFromFile(folder.Write("sound.isn", bytes).c_str());
        } else if (form == form_t::image) {
            sound.LoadFromBuffer(block.get(), static_cast<unsigned>(bytes.size()));
        } else {
            BinaryStream stream(block.get(), static_cast<uint32_t>(bytes.size()));
            sound.Serialize(stream, false);
            EXPECT_EQ(stream.Good(), sound.compressedData != nullptr);
        }
    }

    // A new sound stays one; one that held something holds it still, or nothing.
    void ExpectRefused(form_t form, const std::string& bytes) const {
        IMA_ADPCM_Sound_t untouched, fresh, full;
        Load(full, form_t::image, BytesOf(good, form_t::image));
        for (IMA_ADPCM_Sound_t* sound : {&fresh, &full}) Load(*sound, form, bytes);
        EXPECT_EQ(RecordOf(fresh), RecordOf(untouched));
        EXPECT_TRUE(!fresh.samples && !fresh.pageRefCounts && !fresh.compressedData);
        EXPECT_TRUE(RecordOf(full) == RecordOf(untouched) || RecordOf(full) == BytesOf(good, form_t::record));
    }

    ScratchFolder_t folder;
};

TEST_F(ImaSound, HeadersThatLoad) {
    const header_t headers[] = {{8, 45, 0, 1, 1, 40},         {8, 3, 0, 1, 1, 40},       {4, 10, 0, 1, 1, 40},
                                {5, 24, 0, 1, 1, 40},         {40, 73, 0, 1, 1, 40},     {64, 0, 0, 1, 1, 40},
                                {0x40000000, 0, 0, 1, 1, 40}, {12, 51, 0, 1, 1, 40},     {8, 5, 1, 1, 1, 40},
                                {9, 8, 1, 1, 1, 40},          {40, 33, 1, 1, 44100, 40}, {8, 0, 0, 1, 2, 0},
                                {8, 36, 0, 1, 1, 39}};
    for (const header_t& header : headers) {
        std::vector<int16_t> wanted =
            DecodeBlocks(DataOf(header), std::min(header.blockBytes, 40u), header.isStereo);
        wanted.resize(std::size_t{header.frames} * (1 + header.isStereo));
        for (const form_t form : allForms) {
            SCOPED_TRACE(testing::PrintToString(BytesOf(header, form)));
            IMA_ADPCM_Sound_t sound;
            Load(sound, form, BytesOf(header, form));
            EXPECT_EQ(RecordOf(sound), BytesOf(header, form_t::record));
            EXPECT_EQ(Decode(sound), wanted);
        }
    }
}

// Whatever they promise: at once, and without taking it.
TEST_F(ImaSound, BytesThatAreRefused) {
    const header_t headers[] = {
        {0, 1, 0, 1, 1, 40},         {3, 1, 0, 1, 1, 40},        {3, 0, 0, 1, 1, 40},
        {4, 11, 0, 1, 1, 40},        {5, 25, 0, 1, 1, 40},       {7, 1, 1, 1, 1, 40},
        {7, 0, 1, 1, 1, 40},         {8, 6, 1, 1, 1, 40},        {8, 46, 0, 1, 1, 40},
        {41, 1, 0, 1, 1, 40},        {9, 9, 1, 1, 1, 40},        {8, 3, 0, 0, 1, 40},
        {8, 3, 0, 1, 0, 40},         {8, 3, 0, 1, 44101, 40},    {8, 37, 0, 1, 1, 39},
        {8, 1, 0, 1, 1, 7},          {8, 1, 0, 1, 1, 41},        {8, 1, 0, 1, 1, most},
        {8, most, 1, 1, 1, most},    {8, most, 0, 1, 1, 40},     {8, most, 1, 1, 1, 40},
        {most, 1, 0, 1, 1, 40},      {most - 3, 1, 0, 1, 1, 40}, {0x80000004, 1, 0, 1, 1, 40},
        {0x40000001, 0, 0, 1, 1, 40}};
    const long peakKb = PeakKb();
    for (const header_t& header : headers) {
        for (const form_t form : allForms) {
            SCOPED_TRACE(testing::PrintToString(BytesOf(header, form)));
            ExpectRefused(form, BytesOf(header, form));
        }
    }
    EXPECT_LT(PeakKb(), peakKb + 100'000);
    const std::string rest = BytesOf(good, form_t::file).substr(17);
    for (const std::string start :
         {"Sound 8", "IMA_ADPCM_Sound8", "IMA_ADPCM_Sound -8", "IMA_ADPCM_Sound 8x", "IMA_ADPCM_Sound ",
          "IMA_ADPCM_Sound 000000000008", "ima_adpcm_sound 8"}) {
        for (const form_t form : {form_t::file, form_t::image}) ExpectRefused(form, start + rest);
    }
    for (const form_t form : allForms) {
        const std::string whole = BytesOf(good, form);
        for (std::size_t bytes = 0; bytes < whole.size(); ++bytes)
            ExpectRefused(form, whole.substr(0, bytes));
    }
}

}  // namespace
