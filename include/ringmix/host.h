// host.h - for hosts that want more than the four wrappers offer: loads that say why they failed, voices with
// frequency, queue and slides, one-shots, news of what has ended, raw streams, archives, statistics, and two
// helper threads.
//
// It goes along with the wrappers: both see the same sounds and voices.
//
// Handles are numbers in a class: copy, compare and keep them as you like. They own nothing, and one whose
// voice or sound is gone (freed, replaced, a one-shot that has ended, or the engine was stopped) is refused,
// never followed: setters answer with problem_t::deadHandle, getters with 0, false or an empty text.
//
// Results are values with a text. Those that tell of the world (files, devices, memory) must be looked at;
// those of a voice's setters may be.
//
// Thread: the host's, one at a time, for all of it; what else is allowed is said where it is. While a Pump_t
// runs, the operations of this header may be called as ever, the wrappers' may not.
//
// Nothing here throws. No operation of a voice but those that make, free or queue takes memory.
#pragma once

#include <ringmix/export.h>

#include <cstdint>

namespace ringmix {

// ---- Results

enum class problem_t : int32_t {
    none = 0,
    notRunning = 1,      // the engine does not run
    deadHandle = 2,      // the voice or sound is gone, or the handle never referred to one
    badArgument = 3,     // out of range, null, not a number
    notFound = 4,        // no sound, archive, file or backend of that name
    unreadable = 5,      // a file or image that is not what it should be
    unwritable = 6,      // a file that cannot be written whole
    nameTaken = 7,       // the archive holds another sound of that name
    incompatible = 8,    // this kind of sound or voice cannot do that
    full = 9,            // no more fits
    outOfMemory = 10,    // memory, addresses or threads
    cannotStart = 11,    // the output refuses
    alreadyRuns = 12,    // the helper, or the engine, was started before
    nothingToPlay = 13,  // 0 frames
};

struct result_t {
    problem_t problem = problem_t::none;
    char text[252] = "";  // one line that names the thing and the reason; empty if there is no problem

    explicit operator bool() const { return problem == problem_t::none; }
};

// ---- The engine

struct start_options_t {
    const char* backend = nullptr;  // a name of output_selection.h; null: the one that is selected
    void* window = nullptr;         // passed on to the device
    bool usePrimaryBuffer = false;
    uint32_t streamPageBytes = 16384;  // rounded up to the system's pages
    uint32_t streamPagesAhead = 16;    // what a stream is read ahead of its position
    uint32_t compressedPageBytes = 16384;
    float worstCaseFramesPerSecond = 8.0f;  // the lowest frame rate that the host expects to fall to
};

// AudioWrapper_t::Initialize, with an answer. An engine that runs stays as it is: alreadyRuns.
[[nodiscard]] RINGMIX_EXPORT result_t Start(const start_options_t& options = {});

// AudioWrapper_t::DeInitialize. Stop the helpers first.
RINGMIX_EXPORT void Stop();

// ---- Sounds

enum class sound_kind_t : int32_t { none, simple, compressed, stream, compressedStream, rawStream };

struct sound_info_t {
    sound_kind_t kind = sound_kind_t::none;
    uint32_t frames = 0;
    uint32_t rateHz = 0;  // 44100 / a whole number, rounded down
    uint32_t channels = 0;
    uint32_t bits = 0;
    float baseVolume = 0.0f;
    bool isVolumeLocked = false, isPanLocked = false, isFrequencyLocked = false;
};

struct voice_options_t {
    // Mixed as far ahead as the ring allows, 0.4 seconds: for what nobody will change. Else changes are heard
    // soon.
    bool isMixedFarAhead = false;
    bool isSliding = false;  // simple sounds only
    bool isLooping = false;
    bool wantsLoopNews = false;  // news_kind_t::looped as well
    float leftVolume = 1.0f, rightVolume = 1.0f;
    float frequency = 1.0f;
};

class VoiceHandle_t;

class RINGMIX_EXPORT SoundHandle_t {
  public:
    uint64_t id = 0;  // 0 refers to nothing

    // ---- Loading. A null archive name means "DefaultArchive". Files are read on the calling thread.

    // By the extension of the path: sn and isn whole, ssn and iss as streams. The name stands in the file. A
    // name that the archive holds already is refused, and `sound` is then the one that has it.
    [[nodiscard]] static result_t Load(const char* path, const char* archiveName, SoundHandle_t& sound);
    // From an image in memory, which is copied. `name`, such as "rain.sn", picks the class by its extension
    // and becomes the archive's name.
    [[nodiscard]] static result_t LoadFromMemory(const char* name, const void* image, uint32_t imageBytes,
                                                 SoundHandle_t& sound);
    // A sound that is loaded.
    [[nodiscard]] static result_t Find(const char* soundName, const char* archiveName, SoundHandle_t& sound);

    // ---- What it is

    bool IsAlive() const;
    const char* GetName() const;  // the sound's own text: copy it to keep it
    const char* GetArchiveName() const;
    sound_info_t GetInfo() const;

    // ---- Playing

    // A voice that stands at the start and does not play yet. It lives until it, or its sound, is freed.
    [[nodiscard]] result_t MakeVoice(VoiceHandle_t& voice, const voice_options_t& options = {}) const;
    // Plays once, from the next tick on; the voice is gone when it has ended or is stopped. Looping is
    // refused.
    [[nodiscard]] result_t PlayOnce(VoiceHandle_t& voice, const voice_options_t& options = {}) const;

    // Reads now what this sound's voices have asked for, if it is a stream.
    result_t ReadRequested() const;

    // Frees every voice that has it in its queue, then the sound.
    result_t Free() const;

    friend bool operator==(const SoundHandle_t& one, const SoundHandle_t& other) {
        return one.id == other.id;
    }
    friend bool operator!=(const SoundHandle_t& one, const SoundHandle_t& other) {
        return one.id != other.id;
    }
};

// ---- Archives: named sets of sounds, and their files

struct archive_count_t {
    uint32_t sounds = 0;   // loaded
    uint32_t missing = 0;  // streams in the archive whose own file could not be read
};

class RINGMIX_EXPORT Archives_t {
  public:
    // Replaces what the archive of that name held, once its voices are freed. Sounds that stand in front of
    // what cannot be read stay loaded; `count` may be null.
    [[nodiscard]] static result_t Load(const char* path, const char* archiveName, archive_count_t* count);
    [[nodiscard]] static result_t LoadFromMemory(const void* image, uint32_t imageBytes,
                                                 const char* archiveName, archive_count_t* count);
    // Raw streams are left out. An older file stays if the new one cannot be written whole. A Pump_t waits
    // meanwhile.
    [[nodiscard]] static result_t Save(const char* path, const char* archiveName);
    // `writtenBytes` is what the image takes. A buffer that is too small is refused with `full`; a null one
    // of 0 bytes asks for the size.
    [[nodiscard]] static result_t SaveToMemory(void* buffer, uint32_t bufferBytes, const char* archiveName,
                                               uint32_t& writtenBytes);
    // The sounds in the archive's own order, which loads and frees change.
    static uint32_t GetSoundCount(const char* archiveName);
    static SoundHandle_t GetSound(const char* archiveName, uint32_t index);  // refers to nothing: no such
    // Frees every voice on its sounds, then these.
    static result_t Free(const char* archiveName);
};

// ---- Voices

class CompletionEvent_t;

class RINGMIX_EXPORT VoiceHandle_t {
  public:
    uint64_t id = 0;  // 0 refers to nothing

    bool IsAlive() const;
    bool IsPlaying() const;

    // From where it stands; heard from the next tick on. Does nothing for one that plays.
    result_t Play() const;
    result_t Stop() const;   // and stays where it stands
    result_t Reset() const;  // Stop, and back to the start

    // Source frames from the start of the queue. At or past the end counts as 0.
    result_t SetPosition(uint32_t frame) const;
    uint32_t GetPosition() const;
    uint32_t GetLength() const;  // frames of the whole queue

    result_t SetLooping(bool isLooping) const;

    // 0.0 to 1.0, above counts as 1.0; a negative right takes the left value. With both below 0.1 the voice
    // is silent. Refused by sounds whose volume is locked.
    result_t SetVolume(float left, float right) const;
    // 0.2 up to, not including, 8.0 times the sound's own. Refused by sounds whose frequency is locked.
    result_t SetFrequency(float ratio) const;

    // Whether this voice can play that sound.
    bool CanPlay(SoundHandle_t sound) const;
    // Behind the last one of the queue, without a gap.
    result_t Queue(SoundHandle_t sound) const;
    // Stops it and drops its whole queue: nothing to play until something is queued.
    result_t Release() const;

    // ---- Slides, for voices made with isSliding. They follow the position in the queue, not time: a voice
    // that loops goes back along them. They hold their end values until cleared, and win over SetVolume and
    // SetFrequency.

    // From 0.2 to 10.0; the voice ignores 8.0 and above.
    result_t SlideFrequency(uint32_t fromFrame, uint32_t toFrame, float ratioAtFrom, float ratioAtTo) const;
    // A negative right volume: the right channel follows the left.
    result_t SlideVolume(uint32_t fromFrame, uint32_t toFrame, float leftAtFrom, float leftAtTo,
                         float rightAtFrom, float rightAtTo) const;
    result_t ClearSlides() const;  // frequency and volumes are 1.0 then

    // Sets this event whenever the voice ends; null: no longer. See CompletionEvent_t.
    result_t SetCompletionEvent(CompletionEvent_t* event) const;

    // Also while it plays. What is mixed ahead of it is still heard.
    result_t Free() const;

    friend bool operator==(const VoiceHandle_t& one, const VoiceHandle_t& other) {
        return one.id == other.id;
    }
    friend bool operator!=(const VoiceHandle_t& one, const VoiceHandle_t& other) {
        return one.id != other.id;
    }
};

// ---- News: what became of voices, a list to be polled once a frame

enum class news_kind_t : int32_t {
    ended = 1,    // it has played to its end
    stopped = 2,  // it was stopped, or freed, while it played
    looped = 3,   // it went on from the start of its queue; only if asked for
};

struct news_t {
    news_kind_t kind = news_kind_t::ended;
    uint32_t rounds = 0;  // looped: how often since the news before it
    VoiceHandle_t voice;  // dead already, if the voice has disposed of itself: compare it
};

// The oldest news, and takes it off the list; false: there is none. Every Play of a voice that was made
// through this header brings ended or stopped exactly once. "Ended" comes when the last frames are
// mixed, ahead of being heard. The list keeps the newest 1024; what was dropped is in the statistics. Start
// empties it.
RINGMIX_EXPORT bool TakeNews(news_t& news);

// An event that is set when voices end, for threads that wait for it (not the one that ticks, it would wait
// for itself). Stop and Free set nothing: wait with a time-out. One that is destroyed leaves its voices.
//
// Thread: construction, destruction and SetCompletionEvent the host's; Wait any. Nobody may wait at
// destruction.
class RINGMIX_EXPORT CompletionEvent_t {
  public:
    CompletionEvent_t();
    ~CompletionEvent_t();
    CompletionEvent_t(const CompletionEvent_t&) = delete;
    CompletionEvent_t& operator=(const CompletionEvent_t&) = delete;

    // True: a voice has ended since the last Wait that was true.
    bool Wait(uint32_t timeoutMs);

  private:
    friend class VoiceHandle_t;
    struct state_t;
    state_t* state;  // null: there was no memory; then every wait is false at once
};

// ---- Raw streams: sounds whose samples the host hands over while they play

struct raw_stream_options_t {
    const char* name = nullptr;
    const char* archiveName = nullptr;  // null: "DefaultArchive"
    uint32_t channels = 2;              // 1 or 2
    uint32_t bits = 16;                 // 8 or 16
    uint32_t rateHz = 44100;            // 1 to 44100, played at 44100 / a whole number
    uint32_t capacityFrames = 0;        // all that will ever be fed; takes addresses, not memory
};

struct raw_stream_statistics_t {
    uint32_t fedFrames = 0;
    uint32_t playedFrames = 0;  // mixed, that is
    uint32_t capacityFrames = 0;
    uint64_t residentBytes = 0;
};

// It plays as far as it is fed, then waits: news says ended, and the next piece starts it again. Memory is
// given back behind the position as pieces come.
class RINGMIX_EXPORT RawStreamHandle_t {
  public:
    uint64_t id = 0;  // that of its sound

    [[nodiscard]] static result_t Make(const raw_stream_options_t& options, RawStreamHandle_t& stream);

    bool IsAlive() const;
    // Whole frames, signed, interleaved, 16-bit ones low byte first. Refused whole, with `full`, if they pass
    // the capacity.
    result_t Feed(const void* samples, uint32_t frames) const;
    result_t Play() const;  // from where it stands; keeps playing as pieces come
    result_t Stop() const;
    result_t SetVolume(float left, float right) const;
    result_t SetFrequency(float ratio) const;
    bool IsPlaying() const;  // false as well while it waits for data
    raw_stream_statistics_t GetStatistics() const;
    VoiceHandle_t GetVoice() const;  // refers to nothing before the first Play that has data
    result_t Free() const;

    friend bool operator==(const RawStreamHandle_t& one, const RawStreamHandle_t& other) {
        return one.id == other.id;
    }
    friend bool operator!=(const RawStreamHandle_t& one, const RawStreamHandle_t& other) {
        return one.id != other.id;
    }
};

// ---- Statistics. Taken at the moment, by walking what is there: for a display, not for an inner loop.

struct engine_statistics_t {
    uint32_t voices = 0, playingVoices = 0;
    uint32_t archives = 0, sounds = 0;
    uint64_t soundBytes = 0;  // in memory, of all sounds
    // The ring, in frames. Positions count from its start and wrap at ringFrames.
    uint32_t ringFrames = 0;
    uint32_t baseFrame = 0;      // where the output stood at the latest tick
    uint32_t outputFrame = 0;    // next to go to the device
    uint32_t clearFrame = 0;     // mixed at most up to here
    uint32_t horizonFrames = 0;  // how far ahead of baseFrame voices are mixed
    uint32_t queuedFrames = 0;   // in the device's buffer, not yet played
    // Since the start: passes that came to the end of the ring, at clearFrame, and the silence sent instead:
    // the host had not ticked for about half a second. That counts while nothing plays, too.
    uint32_t underruns = 0;
    uint32_t underrunFrames = 0;
    uint32_t droppedNews = 0;
};

struct sound_statistics_t {
    uint64_t residentBytes = 0;  // in memory now: samples, compressed data, pages
    uint64_t wholeBytes = 0;     // what all its samples would take
    uint32_t voices = 0;         // that have it in their queue
};

struct voice_statistics_t {
    uint64_t heldBytes = 0;     // of pages that it holds; twice if it wants one twice, others may too
    uint32_t aheadFrames = 0;   // mixed ahead of the latest tick's output; 0 unless it plays
    uint32_t queuedSounds = 0;  // the current one included
    float mixSeconds = 0.0f;    // worst measured cost an output frame of its kind; 0: unmeasured
};

enum class voice_kind_t : int32_t { simple, sliding, compressed, stream, compressedStream, rawStream };

// Worst measured seconds an output frame. Gain path: any volume or frequency but 1.0. 0: unmeasured.
struct mix_costs_t {
    float seconds[2][2][2] = {};  // [is 16 bits][is stereo][is gain path]
};

RINGMIX_EXPORT engine_statistics_t GetStatistics();
RINGMIX_EXPORT sound_statistics_t GetStatistics(SoundHandle_t sound);
RINGMIX_EXPORT voice_statistics_t GetStatistics(VoiceHandle_t voice);
RINGMIX_EXPORT mix_costs_t GetMixCosts(voice_kind_t kind);

// ---- Helper threads. Each object is one thread at most; destroying it stops it. Stop it before the engine.

// Reads what streams ask for, on a thread of its own, from Start to Stop. One is enough.
class RINGMIX_EXPORT Loader_t {
  public:
    Loader_t();
    ~Loader_t();
    Loader_t(const Loader_t&) = delete;
    Loader_t& operator=(const Loader_t&) = delete;

    [[nodiscard]] result_t Start();
    void Stop();  // returns when a read that is under way is over and the thread has ended
    bool IsRunning() const;
    uint32_t GetPassCount() const;  // passes over all streams since Start

  private:
    struct state_t;
    state_t* state;
};

// Ticks in the host's place, on a thread of its own, while its frames stall: Start before a long load, Stop
// before the next frame. The host does not tick meanwhile; sounds and archives may be loaded as ever.
class RINGMIX_EXPORT Pump_t {
  public:
    Pump_t();
    ~Pump_t();
    Pump_t(const Pump_t&) = delete;
    Pump_t& operator=(const Pump_t&) = delete;

    // From 1 to 1000 ticks a second; choose one that the worst-case frame rate allows.
    [[nodiscard]] result_t Start(float ticksPerSecond);
    void Stop();
    bool IsRunning() const;
    uint32_t GetTickCount() const;  // since Start

  private:
    struct state_t;
    state_t* state;
};

}  // namespace ringmix
