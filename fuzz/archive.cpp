// archive.cpp - any bytes as an archive, in the engine's load from file and from memory and in the program's.
// What was loaded can be saved, and what was saved loads as the same.
#include <memory>
#include <vector>

#include "fuzz/fuzz_engine.h"
#include "fuzz/fuzz_input.h"
#include "fuzz/targets.h"
#include "sounds/archive.h"
#include "tools/archive_file.h"
#include "tools/sound_reader.h"

namespace {

std::vector<uint8_t> Saved(Archive_t& archive, std::size_t most) {
    std::vector<uint8_t> image(most);
    const int32_t bytes = archive.SaveToBuffer(image.data(), static_cast<unsigned>(most));
    FUZZ_REQUIRE(bytes >= 0 && static_cast<std::size_t>(bytes) < most);
    image.resize(static_cast<std::size_t>(bytes));
    return image;
}

void CheckEngine(const std::string& path, const uint8_t* data, std::size_t size) {
    Archive_t fromFile, fromMemory, again;
    fromFile.Load(path.c_str(), "archive");
    fromMemory.LoadFromBuffer(data, static_cast<unsigned>(size), "archive");
    FUZZ_REQUIRE(fromFile.count == fromMemory.count);
    // Every record comes from bytes of the input; one that was cut short does not count.
    const std::size_t most = 2 * size + 4096;
    const std::vector<uint8_t> image = Saved(fromMemory, most);
    FUZZ_REQUIRE(image == Saved(fromFile, most));
    again.LoadFromBuffer(image.data(), static_cast<unsigned>(image.size()), "archive");
    FUZZ_REQUIRE(again.count == fromMemory.count);
    const std::string saved = fuzz::Scratch().At("saved.archive");
    again.Save(saved.c_str());
    fromFile.Load(saved.c_str(), "archive");
    // Sounds of one bucket change their order with each load.
    FUZZ_REQUIRE(fromFile.count == again.count && Saved(fromFile, most) == image);
}

void CheckProgram(const std::string& path) {
    tools::ArchiveFile_t archive, again;
    if (!archive.Read(path)) return;
    const std::string written = fuzz::Scratch().At("written.archive");
    FUZZ_REQUIRE(archive.Write(written));
    FUZZ_REQUIRE(again.Read(written));
    FUZZ_REQUIRE(again.Sounds().size() == archive.Sounds().size() && again.Bytes() == archive.Bytes());
    for (const tools::archive_sound_t& sound : archive.Sounds()) {
        FUZZ_REQUIRE(again.Find(sound.Name()) != nullptr);
        tools::SoundFile_t streamFile;
        std::optional<tools::SampleReader_t> samples;
        if (!tools::OpenSamples(path, sound, streamFile, samples)) continue;
        std::vector<int16_t> block;
        while (samples->Next(block) && !block.empty()) {}
    }
}

}  // namespace

int FuzzArchive(const uint8_t* data, std::size_t size) {
    if (size > 1u << 20) return 0;
    fuzz::SetPageSizes(4096, 4096);
    const std::string path = fuzz::WriteScratch("input.archive", data, size);
    CheckEngine(path, data, size);
    CheckProgram(path);
    return 0;
}
