// sound.h - the base of everything that a voice can play, and the tables of loaded sounds.
//
// Samples in memory are offset binary (silence is 0x80 or 0x8000); in files, archives and images they are
// signed, low byte first. A sound that still bears defaultSoundName after a load has failed to load.
//
// Ownership: an archive owns its sounds, soundTable its archives, defaultSounds the default sounds. Voices
// point into sounds without counting: free the voices on a sound before the sound.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "foundation/handle_table.h"
#include "foundation/string.h"
#include "foundation/string_map.h"
#include "sounds/archive.h"

class BinaryStream;
class Voice_t;
struct sound_header_t;

inline constexpr char defaultSoundName[] = "AudioSystem::DefaultSound";

// Bits of Sound_t::lockFlags.
constexpr uint32_t lockVolume = 1;     // both volumes stay 1.0
constexpr uint32_t lockPan = 2;        // right volume follows left
constexpr uint32_t lockFrequency = 4;  // frequency stays 1.0

class Sound_t {
  public:
    Sound_t();
    Sound_t(const Sound_t&) = delete;
    Sound_t& operator=(const Sound_t&) = delete;

    // Virtual slots, in order. The loads leave the object as it was if they fail.
    virtual void LoadFromBuffer(const void* image, unsigned size) = 0;  // an image of a sound file
    virtual bool IsASortOf(const char* className) const;                // the class or one of its bases
    virtual Voice_t* CreateCompatibleVoice(int32_t mixMode) = 0;        // belongs to allVoices
    virtual void PlayOneShot() = 0;                                     // plays once, disposes of itself
    virtual ~Sound_t();
    virtual void Serialize(BinaryStream& stream, bool writing) = 0;  // an archive record
    virtual void LoadFromFile(const char* path);
    virtual void LoadFromStdio(FILE* file) = 0;

    static void FreeAll();  // every archive with its sounds

    uint8_t* samples = nullptr;  // memory form; a simple sound's own block, others' pages; null until loaded
    uint32_t frameCount = 0;
    uint32_t rateDivisor = 1;  // 44100 / sample rate
    bool is16Bit = false;
    bool isStereo = false;
    uint32_t bytesPerFrame = 1;
    float baseVolume = 1.0f;
    uint32_t lockFlags = 0;
    String_t name;
    String_t archiveName;
    String_t classTag;  // extension of the sound's file and tag of its record; empty in default sounds
    HandleAnchor_t anchor;

  protected:
    // Takes name, length and format from a header; not the samples.
    void TakeFormat(const sound_header_t& header);
};

// Between the signed and the offset form, in place; each is its own inverse. Any alignment, any count.
void FlipSign16(void* samples, std::size_t sampleCount) noexcept;
void FlipSign8(void* samples, std::size_t byteCount) noexcept;
void FlipSamples(void* samples, std::size_t byteCount, bool is16Bit) noexcept;

namespace AudioSystem {

extern StringMap_t soundTable;       // archive name to Archive_t*
extern String_t archiveEndMarker;    // "end_of_sound_archive"
extern String_t defaultArchiveName;  // "DefaultArchive": what a null archive name means
extern Archive_t* defaultSounds;     // one empty sound a class, by class name; lives while the system runs

// How far a load came, and the sound: the one that was loaded, or the one that had its name already; else
// null.
enum class load_step_t { loaded, noTag, unknownTag, notRead, nameTaken };
struct load_outcome_t {
    load_step_t step;
    Sound_t* sound;
};

// Loads a sound file; its extension picks the class, its own text the name. Failure is silent. A name that
// the archive already holds keeps the old sound.
void LoadSound(const char* path, const char* archiveName);
// The same from an image in memory; `name` gives both the tag, behind its last dot, and the archive's name.
void LoadSoundFromBuffer(const char* name, const void* image, unsigned size);
// The same two, for whoever wants to know what became of it. Only an archive name may be null.
load_outcome_t TryLoadSound(const char* path, const char* archiveName);
load_outcome_t TryLoadSoundFromBuffer(const char* name, const void* image, unsigned size);
// Never null: a default sound of 0 frames for an unknown name.
Sound_t* GetSound(const char* soundName, const char* archiveName);
// Gives a sound to an archive under its own name. False, and the sound stays the caller's, if that name is
// taken.
[[nodiscard]] bool EnterSound(Sound_t* sound, const char* archiveName);
void FreeSound(const char* soundName, const char* archiveName);
void FreeArchive(const char* archiveName);

Sound_t* FindDefaultSound(const char* className);  // made on demand for "Sound" alone, else null if absent
Sound_t* SetDefaultSound(const char* className, std::unique_ptr<Sound_t> sound);  // returns it

}  // namespace AudioSystem
