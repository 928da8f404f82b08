// sound_table_test.cpp - loading, finding and freeing sounds, inside and through the exported handles.
#include <ringmix/audio_wrapper.h>
#include <ringmix/base_wrapper.h>
#include <ringmix/sound_wrapper.h>
#include <ringmix/voice_wrapper.h>

#include <memory>

#include "foundation/class_registry.h"
#include "sounds/simple_sound.h"
#include "stream_fixture.h"

namespace {

using AudioSystem::allVoices, AudioSystem::soundTable;
using sound_handle_t = std::unique_ptr<SoundWrapper_t>;
using voice_handle_t = std::unique_ptr<VoiceWrapper_t>;

class SoundTable : public StreamFixture_t {
  protected:
    void SetUp() override {
        StreamFixture_t::SetUp();
        StartWith(4096, 32);
    }

    // A file that holds a sound of that name.
    std::string File(const std::string& fileName, const std::string& soundName, uint32_t frames = 10) {
        return folder.Write(fileName, SoundImage(soundName, frames, {}, Ramp));
    }

    // -1 for an archive that is not there.
    static int CountSounds(const char* archive) {
        void* found = nullptr;
        return soundTable.Lookup(archive, found) ? static_cast<Archive_t*>(found)->count : -1;
    }
};

TEST(ClassRegistryEntries, AreLinkedInAndInOrder) {
    std::vector<std::string> tags, wanted = {"ssn", "sn", "iss", "isn"};
    for (const ClassRegistry* entry = AudioSystem::classRegistryHead; entry; entry = entry->nextEntry)
        tags.emplace_back(entry->tag);
    std::erase_if(wanted,
                  [](const std::string& tag) { return tag != "sn" && !ClassRegistry::Find(tag.c_str()); });
    EXPECT_EQ(tags, wanted);
    for (const char* tag : {"", "s", "SN", "snx", "wav", static_cast<const char*>(nullptr)})
        EXPECT_EQ(ClassRegistry::Create(tag), nullptr);
    const std::unique_ptr<Sound_t> one(static_cast<Sound_t*>(ClassRegistry::Create("sn")));
    const std::unique_ptr<Sound_t> other(static_cast<Sound_t*>(ClassRegistry::Create("sn")));
    EXPECT_TRUE(one->IsASortOf("SimpleSound"));
    EXPECT_NE(one, other);
}

TEST_F(SoundTable, FailedLoadsLeaveAnEmptyArchive) {
    const std::string dotless = folder.path.string(), none = folder.At("none.sn"),
                      empty = folder.Write("0.sn", ""), wrong = folder.Write("wrong.sn", "IMA_ADPCM_Sound a"),
                      unnamed = File("u.sn", defaultSoundName);
    for (const std::string& path :
         {dotless, none, empty, wrong, unnamed, File("nodot", "a"), File("a.wav", "a"), File("a.SN", "a"),
          File("a.sn.bak", "a"), File("a.", "a")}) {
        AudioSystem::LoadSound(path.c_str(), "weather");
        EXPECT_EQ(CountSounds("weather"), 0) << path;
        AudioSystem::FreeSound("anything", "weather");
        EXPECT_EQ(CountSounds("weather"), -1) << path;
    }
    for (const char* name : {"nodot", "a.wav", "a.SN"}) {
        const std::string image = SoundImage("a", 1, {}, Ramp);
        AudioSystem::LoadSoundFromBuffer(name, image.data(), static_cast<unsigned>(image.size()));
        EXPECT_EQ(CountSounds(name), 0) << name;
    }
}

TEST_F(SoundTable, LoadsByExtensionAndNamesByContent) {
    const std::string path = File("not.the.name.sn", "rain");
    AudioSystem::LoadSound(path.c_str(), nullptr);
    Sound_t* rain = AudioSystem::GetSound("rain", nullptr);
    EXPECT_EQ(rain, AudioSystem::GetSound("rain", "DefaultArchive"));
    EXPECT_STREQ(rain->archiveName.text, "DefaultArchive");
    EXPECT_STREQ(rain->classTag.text, "sn");
    EXPECT_EQ(rain->frameCount, 10u);

    File("not.the.name.sn", "rain", 20);
    AudioSystem::LoadSound(path.c_str(), nullptr);  // the old one stays
    EXPECT_EQ(AudioSystem::GetSound("rain", nullptr), rain);
    EXPECT_EQ(rain->frameCount, 10u);
    AudioSystem::LoadSound(path.c_str(), "weather");
    EXPECT_EQ(AudioSystem::GetSound("rain", "weather")->frameCount, 20u);

    Sound_t* image = MakeSound("thunder", 5, {}, Ramp);
    EXPECT_STREQ(image->archiveName.text, "thunder.sn");
    EXPECT_STREQ(image->classTag.text, "sn");
}

TEST_F(SoundTable, UnknownNamesGiveTheDefaultSound) {
    EXPECT_EQ(AudioSystem::FindDefaultSound("Nonsense"), nullptr);
    Sound_t* silence = AudioSystem::GetSound("none", nullptr);
    MakeSound("rain", 5, {}, Ramp);
    EXPECT_EQ(AudioSystem::GetSound("Rain", "rain.sn"), silence);
    EXPECT_EQ(AudioSystem::GetSound("rain", nullptr), silence);
    EXPECT_EQ(AudioSystem::FindDefaultSound("Sound"), silence);
    EXPECT_TRUE(silence->IsASortOf("SimpleSound"));
    EXPECT_STREQ(silence->name.text, defaultSoundName);
    EXPECT_STREQ(silence->classTag.text, "");
    EXPECT_EQ(silence->frameCount, 0u);
    EXPECT_EQ(soundTable.count, 1);
}

// What each class takes for one of its own, by the archives of the sounds, and what it gives for all else.
TEST_F(SoundTable, Classes) {
    const char* archives[] = {"sn", "isn", "ssn", "iss", "raw"};
    for (const char* tag : {"sn", "isn", "ssn", "iss"})
        LoadImage("a", tag, tag[0] == 'i' ? ImaOf("a", 100, 512, {}) : SoundImage("a", 100, {}, Ramp));
    new RawStreamSound_t("a", 1, 8, 44100, 100, "raw");
    const struct {
        const char* className;
        Sound_t* (*find)(const char*, const char*);
        Sound_t* (*getDefault)();
        std::string own;
    } rows[] = {
        {"SimpleSound", SimpleSound_t::GetTypedSound, SimpleSound_t::GetDefaultSound, "sn"},
        {"CompressedSound", CompressedSound_t::GetTypedSound, CompressedSound_t::GetDefaultSound, "isn"},
        {"IMA_ADPCM_Sound", IMA_ADPCM_Sound_t::GetTypedSound, IMA_ADPCM_Sound_t::GetDefaultSound, "isn"},
        {"BaseStream", BaseStream_t::GetTypedSound, BaseStream_t::GetDefaultSound, "ssn iss"},
        {"StreamSound", StreamSound_t::GetTypedSound, StreamSound_t::GetDefaultSound, "ssn"},
        {"CompressedStreamSound", CompressedStreamSound_t::GetTypedSound,
         CompressedStreamSound_t::GetDefaultSound, "iss"},
        {"IMA_ADPCM_StreamSound", IMA_ADPCM_StreamSound_t::GetTypedSound,
         IMA_ADPCM_StreamSound_t::GetDefaultSound, "iss"},
        {"RawStreamSound", RawStreamSound_t::GetTypedSound, RawStreamSound_t::GetDefaultSound, "raw"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.className);
        EXPECT_EQ(AudioSystem::FindDefaultSound(row.className), nullptr);
        Sound_t* silence = row.getDefault();
        EXPECT_EQ(AudioSystem::FindDefaultSound(row.className), silence);
        EXPECT_NE(silence, AudioSystem::FindDefaultSound("Sound"));
        EXPECT_TRUE(silence->IsASortOf(row.className) && silence->frameCount == 0);
        for (const std::string archive : archives) {
            Sound_t* sound = AudioSystem::GetSound("a", archive.c_str());
            const bool isOwn = (" " + row.own).ends_with(" " + archive) || row.own.starts_with(archive + " ");
            EXPECT_TRUE(sound->IsASortOf("Sound") && sound->frameCount == 100);
            EXPECT_EQ(sound->IsASortOf(row.className), isOwn) << archive;
            EXPECT_EQ(row.find("a", archive.c_str()), isOwn ? sound : silence) << archive;
            EXPECT_EQ(row.find("none", archive.c_str()), silence);
        }
        silence->PlayOneShot();
        const std::unique_ptr<Voice_t> voice(silence->CreateCompatibleVoice(0));
        if (!voice) continue;
        voice->SetPos(5);
        voice->Play();
        EXPECT_FALSE(voice->isPlaying);
    }
    for (const char* from : {"sn", "isn", "ssn", "iss"}) {
        const std::unique_ptr<Voice_t> voice(AudioSystem::GetSound("a", from)->CreateCompatibleVoice(0));
        for (const char* to : archives)
            EXPECT_EQ(voice->IsCompatibleSound(AudioSystem::GetSound("a", to)), SameText(from, to))
                << from << to;
    }
    EXPECT_FALSE(DummyCompressedSound_t().DecodeRange(0, 1, nullptr));
    EXPECT_FALSE(DummyCompressedStreamSound_t().DecodeRange(0, 1, nullptr));
    AudioSystem::MixVoices();
    EXPECT_EQ(allVoices.count, 0) << "one-shots of nothing have gone";
}

TEST_F(SoundTable, FreeingTheLastSoundFreesTheArchive) {
    for (const char* name : {"a", "b", "c"}) AudioSystem::LoadSound(File("x.sn", name).c_str(), "one");
    AudioSystem::LoadSound(File("x.sn", "a").c_str(), nullptr);
    AudioSystem::FreeSound("a", "two");
    AudioSystem::FreeSound(nullptr, "one");
    AudioSystem::FreeSound("A", "one");
    EXPECT_EQ(CountSounds("one"), 3);
    AudioSystem::FreeSound("a", nullptr);
    EXPECT_EQ(CountSounds("DefaultArchive"), -1);
    AudioSystem::FreeSound("b", "one");
    EXPECT_EQ(CountSounds("one"), 2);
    EXPECT_EQ(AudioSystem::GetSound("b", "one")->frameCount, 0u);
    AudioSystem::FreeSound("a", "one");
    AudioSystem::FreeSound("c", "one");
    EXPECT_EQ(CountSounds("one"), -1);

    for (const char* archive : {"one", "two", "three"})
        AudioSystem::LoadSound(File("x.sn", "a").c_str(), archive);
    AudioSystem::FreeArchive("none");
    AudioSystem::FreeArchive("two");
    AudioSystem::FreeArchive(nullptr);
    EXPECT_EQ(soundTable.count, 2);
    Sound_t::FreeAll();
    EXPECT_EQ(soundTable.count, 0);
}

TEST_F(SoundTable, SoundHandles) {
    MakeSound("rain", 100, {}, Ramp);
    const sound_handle_t rain(SoundWrapper_t::GetSound("rain", "rain.sn")),
        none(SoundWrapper_t::GetSound("?", nullptr));
    sound_handle_t again(SoundWrapper_t::GetSound("rain", "rain.sn"));
    EXPECT_NE(rain, again);
    EXPECT_FALSE(rain->IsDefault());
    EXPECT_TRUE(none->IsDefault());
    EXPECT_TRUE(rain->IsASortOf("Sound") && rain->IsASortOf("SimpleSound"));
    EXPECT_FALSE(rain->IsASortOf("simplesound") || rain->IsASortOf(BaseWrapper_t::GetClassNameA()));
    SoundWrapper_t copy(*none);
    EXPECT_TRUE(copy.IsDefault());
    EXPECT_EQ(&(copy = *rain), &copy);
    EXPECT_FALSE(copy.IsDefault());

    const voice_handle_t voice(again->CreateCompatibleVoice(2)), nothing(none->CreateCompatibleVoice(0));
    EXPECT_EQ(static_cast<Voice_t*>(allVoices.head->data)->mixMode, 2);
    again.reset();
    nothing->Play();
    EXPECT_FALSE(nothing->IsPlaying());
    voice->Play();
    EXPECT_TRUE(voice->IsPlaying());
    VoiceWrapper_t::FreeAll();
}

TEST_F(SoundTable, VoiceHandles) {
    MakeSound("rain", 100, {}, Ramp)->CreateCompatibleVoice(0);
    auto* voice = static_cast<Voice_t*>(allVoices.head->data);
    VoiceWrapper_t one, other;
    one.SetVoicePointer(voice);
    other = one;
    one.SetPos(40);
    EXPECT_EQ(other.GetPos(), 40u);
    one.SetPos(100);
    EXPECT_EQ(other.GetPos(), 0u);
    voice->QueueSound(static_cast<Sound_t*>(voice->soundQueue.head->data));
    one.SetPos(150);
    EXPECT_EQ(other.GetPos(), 150u);
    one.Play();
    EXPECT_TRUE(other.IsPlaying());
    other.Stop();
    EXPECT_FALSE(one.IsPlaying());
    EXPECT_EQ(one.GetPos(), 150u);
    one.Play();
    one.Reset();
    EXPECT_FALSE(voice->isPlaying);
    EXPECT_EQ(one.GetPos(), 0u);
    one.SetLooping(true);
    one.SetVolume(0.5f, -1.0f);
    EXPECT_TRUE(voice->isLooping);
    EXPECT_EQ(voice->rightVolume, 0.5f);
    other.Play();
    { const VoiceWrapper_t gone(one); }
    EXPECT_TRUE(voice->isPlaying);
    VoiceWrapper_t::FreeVoicesUsingSound("rain", nullptr);
    VoiceWrapper_t::FreeVoicesUsingArchive("rain");
    EXPECT_EQ(allVoices.count, 1);
    VoiceWrapper_t::FreeVoicesUsingSound("rain", "rain.sn");
    EXPECT_EQ(allVoices.count, 0);
}

// On handles that refer to nothing, and on all of them while the engine is down.
TEST_F(SoundTable, HandlesWithoutAnythingAreHarmless) {
    for (const bool isUp : {true, false}) {
        if (!isUp) AudioSystem::DeInitialize();
        const sound_handle_t found(SoundWrapper_t::GetSound("rain", nullptr));
        SoundWrapper_t sound;
        EXPECT_TRUE(found->IsDefault() && sound.IsDefault());
        EXPECT_EQ(found->IsASortOf("Sound"), isUp);
        EXPECT_FALSE(sound.IsASortOf("Sound") || found->IsASortOf(nullptr));
        sound.LoadDataSupply();
        const voice_handle_t made(sound.CreateCompatibleVoice(0)), ofNothing(found->CreateCompatibleVoice(0));
        VoiceWrapper_t voice(*made);
        for (VoiceWrapper_t* each : {&voice, ofNothing.get()}) {
            each->Play();
            each->SetPos(7);
            each->SetLooping(true);
            each->SetVolume(0.5f, 0.5f);
            each->Stop();
            each->Reset();
            EXPECT_FALSE(each->IsPlaying());
            EXPECT_EQ(each->GetPos(), 0u);
        }
        char junk[] = "junk";
        SoundWrapper_t::LoadSound(nullptr, nullptr);
        SoundWrapper_t::LoadSound("/none/none.sn", nullptr);
        SoundWrapper_t::LoadSoundFromBuffer("junk.sn", junk, 4);
        SoundWrapper_t::LoadSoundFromBuffer("junk.sn", nullptr, 4);
        SoundWrapper_t::LoadSoundFromBuffer(nullptr, junk, 4);
        VoiceWrapper_t::FreeVoicesUsingSound(nullptr, nullptr);
        VoiceWrapper_t::FreeVoicesUsingArchive(nullptr);
        VoiceWrapper_t::FreeAll();
        SoundWrapper_t::FreeSound(nullptr, nullptr);
        SoundWrapper_t::FreeArchive("junk.sn");
        SoundWrapper_t::FreeAll();
        BaseWrapper_t::LoadStreams();
        EXPECT_EQ(BaseWrapper_t::WaitForStreamLoad(0), isUp ? platform::waitTimedOut : platform::waitFailed);
        EXPECT_EQ(allVoices.count + soundTable.count, 0);
    }
}

}  // namespace
