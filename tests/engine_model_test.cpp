// engine_model_test.cpp - the whole engine against a model of it in plain words: time without end instead of
// a ring, whole frames instead of ring units and bytes, one exact sum for each entry. Random hosts; every
// frame that the device plays must be equal.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <list>
#include <memory>
#include <random>

#include "tests/engine_fixture.h"

namespace {

constexpr uint64_t ringFrames = 26'460, deviceFrames = 8'192;
constexpr uint64_t unitsPerFrame = 100'000, unitsPerMs = 4'410'000;  // of the manual clock
constexpr double costPerReading = 0.0001 / 1000.0;                   // a reading of that clock takes 0.1 us
constexpr uint64_t noLimit = UINT64_MAX;

struct ramp_t {
    bool isActive = false;
    uint32_t from = 0, to = 0;
    float values[4] = {};  // from, to; or left from, to, right from, to

    float At(uint64_t position, int first) const {
        if (position < from) return values[first];
        if (position >= to) return values[first + 1];
        const double part = static_cast<double>(position - from) / static_cast<double>(to - from);
        return static_cast<float>((double{values[first + 1]} - double{values[first]}) * part +
                                  double{values[first]});
    }
};

constexpr int32_t bothSlots = 256 * 0x80000;  // silence of a slot, in 1/256 sample steps

// All entries in 1/256 of a sample step of the low slot; the high slot counts 2^32 of them.
struct model_ring_t {
    explicit model_ring_t(uint64_t frames) : sums(frames, int64_t{bothSlots} << 32 | bothSlots) {}

    std::vector<int64_t> sums;
    std::vector<std::size_t> touched{};

    void Add(uint64_t frame, unsigned channel, int32_t sample, int32_t gain) {
        touched.push_back(frame / 2 * 2 + channel);
        sums[touched.back()] += int64_t{sample} * gain * (frame % 2 == 0 ? 1 : int64_t{1} << 32);
    }

    // What storing an entry as a double does.
    void Store() {
        for (const auto entry : touched) sums[entry] = static_cast<int64_t>(static_cast<double>(sums[entry]));
        touched.clear();
    }
};

// The rules of a voice, in the plainest words. What its setters leave behind is taken from the voice.
struct model_t {
    model_t(const Sound_t* sound, Voice_t* engineVoice, bool slides)
        : real(engineVoice), isSliding(slides), queue{sound} {}

    Voice_t* real;
    bool isSliding, isPlaying = false, endsItself = false;
    int mode = 0;
    uint64_t next = 0;  // the frame that is mixed next
    ramp_t frequency, volume;

    std::vector<const Sound_t*> queue;
    std::size_t current = 0;
    uint64_t base = 0, position = 0, fraction = 0, step = 0;
    float left = 1.0f, right = 1.0f, baseVolume = 1.0f;
    bool isFrequencySet = false, isLooping = false;
    uint32_t stop = noStopPosition;

    void TakeSettings() {
        step = real->step;
        left = real->leftVolume;
        right = real->rightVolume;
        baseVolume = real->baseVolume;
        isFrequencySet = real->pathFlags & pathFrequency;
        isLooping = real->isLooping;
        stop = real->stopPosition;
    }

    const Sound_t& Now() const { return *queue[current]; }
    bool IsPlain() const {
        return left * baseVolume == 1.0f && right * baseVolume == 1.0f && left == right && !isFrequencySet;
    }
    bool IsInside() const { return position + (fraction + step) / 1024 < Now().frameCount; }

    void Attach(std::size_t index, uint64_t newBase) {
        step *= Now().rateDivisor;
        current = index;
        base = newBase;
        position = fraction = 0;
        baseVolume = Now().baseVolume;
        if (Now().lockFlags & lockFrequency) {
            step = 1024;
            isFrequencySet = false;
        }
        step /= Now().rateDivisor;
        if (Now().lockFlags & lockVolume) left = right = 1.0f;
        if (Now().lockFlags & lockPan) right = left;
    }

    void SetPos(uint64_t target) {
        if (target < base || target > base + Now().frameCount) {
            std::size_t index = 0;
            uint64_t start = 0;
            while (start + queue[index]->frameCount <= target) start += queue[index++]->frameCount;
            Attach(index, start);
        }
        position = target - base;
        fraction = 0;
    }

    void Prepare() {
        const uint64_t at = base + position;
        const bool isPanLocked = Now().lockFlags & lockPan;
        if (frequency.isActive && !(Now().lockFlags & lockFrequency)) {
            const float ratio = frequency.At(at, 0);
            step = static_cast<uint64_t>(ratio * 1024.0) / Now().rateDivisor;
            isFrequencySet = ratio != 1.0f;
        }
        if (volume.isActive && !(Now().lockFlags & lockVolume)) {
            left = volume.At(at, 0);
            right = isPanLocked ? left : volume.At(at, 2);
        }
    }

    // How many of the wanted frames this pass has.
    uint64_t Length(uint64_t wanted, bool& isStopHit) const {
        const uint64_t framesLeft = Now().frameCount - position, divisor = Now().rateDivisor;
        uint64_t count = 0;
        while (count < wanted && fraction + (count + 1) * step <= framesLeft * 1024) ++count;
        if (IsPlain() && count / divisor > framesLeft) count = framesLeft * divisor;
        const uint64_t absolute = base + position, reached = absolute + (fraction + count * step) / 1024;
        isStopHit = stop != noStopPosition && stop >= absolute && stop <= reached;
        if (!isStopHit) return count;
        count = 0;
        while (fraction + (count + 1) * step <= (stop - absolute) * 1024) ++count;
        return count;
    }

    int32_t SampleAt(uint64_t frame, unsigned channel) const {
        const Sound_t& s = Now();
        const uint64_t index = s.isStereo ? frame * 2 + channel : frame;
        return s.is16Bit ? s.samples[2 * index] + 256 * s.samples[2 * index + 1] - 0x8000
                         : 256 * s.samples[index] - 0x8000;
    }

    void MixPass(model_ring_t& ring, uint64_t at, uint64_t count) const {
        const float volumes[2] = {left * baseVolume, right * baseVolume};
        if (volumes[0] < 0.1f && volumes[1] < 0.1f) return;
        const uint64_t divisor = Now().rateDivisor;
        if (IsPlain() && divisor != 1 && divisor != 2 && divisor != 4) return;
        if (IsPlain()) count -= count % divisor;
        if (IsPlain() && divisor != 1) at -= at % 2;
        for (uint64_t j = 0; j < count; ++j) {
            const uint64_t frame = position + (IsPlain() ? j / divisor : (fraction + j * step) / 1024);
            for (unsigned channel = 0; channel < 2; ++channel) {
                const auto gain = static_cast<int32_t>(std::floor(volumes[channel] * 256.0));
                ring.Add(at + j, channel, SampleAt(frame, channel), gain);
            }
        }
        ring.Store();
    }

    bool Mix(model_ring_t& ring, uint64_t at, uint64_t wanted) {
        bool hasLooped = false, hasMoved = false, isStopHit = false;
        while (wanted > 0) {
            if (isSliding) Prepare();
            const uint64_t count = Length(wanted, isStopHit);
            MixPass(ring, at, count);
            at = (at + count) % ring.sums.size();
            position += (fraction + count * step) / 1024;
            fraction = (fraction + count * step) % 1024;
            wanted -= count;
            hasMoved = hasMoved || count > 0;
            if (isStopHit) return false;
            if (IsInside()) break;
            if (current + 1 < queue.size()) {
                Attach(current + 1, base + Now().frameCount);
            } else if (isLooping) {
                if (hasLooped && !hasMoved) return false;
                hasLooped = true;
                hasMoved = false;
                SetPos(0);
            } else {
                break;
            }
        }
        return IsInside();
    }

    unsigned CostIndex() const {
        const bool isGain = left * baseVolume != 1.0f || right * baseVolume != 1.0f || isFrequencySet;
        return (isSliding ? 8 : 0) + (Now().is16Bit ? 4 : 0) + (Now().isStereo ? 2 : 0) + (isGain ? 1 : 0);
    }
};

class EngineModel_t {
  public:
    // The frame at which the device stands at its start is `origin`: room for voices that start into the
    // past.
    explicit EngineModel_t(uint64_t frames)
        : ring(origin + frames + 2 * ringFrames), device(ring.sums.size()) {
        horizon = AudioSystem::mixHorizon / 2;
        lead = AudioSystem::outputLimit / 2;
        startsAtHorizon = AudioSystem::voicesStartAtHorizon;
        isEmulated = platform::ManualSettings().isEmulated;
        writeLead = platform::ManualSettings().writeLeadBytes / 4;
    }

    void Tick() {
        const uint64_t rewind = starting.empty() ? 0 : StartVoices();
        Pass(rewind);
        base = written;
        for (model_t& voice : voices) {
            if (!voice.isPlaying) continue;
            if (!MixAhead(voice)) End(voice);
        }
        voices.remove_if([](const model_t& voice) { return voice.endsItself && !voice.isPlaying; });
    }

    // Appends what the device plays meanwhile.
    void PassTime(uint64_t frames, frames_t& heard) {
        const uint64_t end = now + frames * unitsPerFrame;
        for (; nextPass <= end; Pass(0)) PlayUntil(nextPass, heard);
        PlayUntil(end, heard);
    }

    void Play(model_t& voice) {
        if (voice.isPlaying) return;
        starting.push_back(&voice);
        voice.isPlaying = true;
    }
    void Stop(model_t& voice) {
        starting.remove(&voice);
        voice.isPlaying = false;
    }
    void Delete(model_t& voice) {
        Stop(voice);
        voices.remove_if([&](const model_t& other) { return &other == &voice; });
    }

    std::list<model_t> voices;
    float costs[16] = {};  // of simple voices, of sliding ones

  private:
    static constexpr uint64_t origin = ringFrames;

    uint64_t Anchor() const { return origin + now / unitsPerFrame; }
    uint64_t Cursor() const { return Anchor() - (isEmulated ? 2'500 : writeLead); }
    uint64_t Queued() const { return (written - Anchor()) / 4 * 4; }

    frame_t Heard(uint64_t frame) const {
        int16_t words[2];
        for (unsigned channel = 0; channel < 2; ++channel) {
            const int64_t sum = ring.sums[frame / 2 * 2 + channel];
            const int64_t even = sum >> 9 << 1, rest = sum - even * 256;  // ties go to even
            const int64_t rounded = even + (rest <= 128 ? 0 : rest < 384 ? 1 : 2);
            const int64_t slot = frame % 2 == 0 ? rounded & 0xFFFFFF : rounded >> 32 & 0xFFFFF;
            words[channel] = static_cast<int16_t>(std::clamp<int64_t>(slot - 0x80000, -32768, 32767));
        }
        return {words[0], words[1]};
    }

    // The frames from `first` on reach the device as they are now.
    void Send(uint64_t first, uint64_t end) {
        for (uint64_t frame = first; frame < end; ++frame) device[frame] = Heard(frame);
    }

    void Pass(uint64_t rewind) {
        const uint64_t changed = std::min(written - base + rewind, lead), queued = Queued();
        Send(written - std::min(queued > 100 ? queued - 100 : 0, changed), written);
        const uint64_t free = (Anchor() + lead - written) / 4 * 4, count = std::min(free, horizon);
        Send(written, written + count);
        written += count;
        const int64_t timeoutMs = std::max<int64_t>(AudioSystem::passPeriodMs - (isEmulated ? 40 : 10), 10);
        nextPass = now + static_cast<uint64_t>(timeoutMs) * unitsPerMs;
    }

    void PlayUntil(uint64_t time, frames_t& heard) {
        const uint64_t first = Cursor();
        now = time;
        for (uint64_t frame = first; frame < Cursor(); ++frame) heard.push_back(device[frame]);
    }

    uint64_t StartVoices() {
        float costSum = 0.0f;
        bool skips = startsAtHorizon || isEmulated, toHorizon = skips;
        for (const model_t* voice : starting) {
            const float cost = costs[voice->CostIndex()];
            skips = skips || cost == 0.0f;
            costSum += cost;
        }
        uint64_t rewind = 0;
        if (!skips) {
            const auto spent =
                static_cast<uint64_t>(static_cast<double>(horizon + Queued()) * double{costSum} * 44100.0);
            if (Queued() > spent + 200) {
                rewind = (Queued() - spent - 200) / 8 * 8;
            } else {
                toHorizon = true;
            }
        }
        for (const auto list = starting; model_t * voice : list) Start(*voice, rewind, toHorizon);
        starting.clear();
        return rewind;
    }

    void Start(model_t& voice, uint64_t rewind, bool atHorizon) {
        voice.next = base + horizon;
        if (atHorizon) return;
        const uint64_t frames = horizon + rewind;
        const uint64_t chunk = voice.isSliding ? 2 * (2 * 2048 / voice.Now().rateDivisor) : noLimit;
        const bool isAlive = MixFrom(voice, base - rewind, frames, chunk);
        float& known = costs[voice.CostIndex()];
        known = std::max(known, static_cast<float>(costPerReading / static_cast<double>(frames)));
        if (!isAlive) {
            voice.isPlaying = false;
            voice.SetPos(0);
        }
    }

    // In stretches of at most `chunk` half frames, none across a whole turn of the ring. A chunk may be an
    // odd number of half frames: then the voice moves on by half a frame less than time does.
    bool MixFrom(model_t& voice, uint64_t firstFrame, uint64_t frames, uint64_t chunk) {
        bool isAlive = true;
        uint64_t from = 2 * firstFrame;
        for (const uint64_t end = from + 2 * frames; isAlive && from < end;) {
            const uint64_t turn = (from / (2 * ringFrames) + 1) * 2 * ringFrames;
            const uint64_t length = std::min({chunk, end - from, turn - from});
            isAlive = voice.Mix(ring, from / 2, length / 2);
            from += length;
        }
        return isAlive;
    }

    bool MixAhead(model_t& voice) {
        const uint64_t clear = base + ringFrames - deviceFrames, ahead = base + horizon;
        uint64_t frames = 0;
        if (voice.mode <= 1) frames = voice.next < ahead ? ahead - voice.next : 0;
        if (voice.mode == 2) frames = (clear - voice.next) / 4 * 4;
        if (frames == 0) return true;
        const uint64_t from = voice.next;
        voice.next += frames;
        return MixFrom(voice, from, frames, voice.isSliding ? 2048 / voice.Now().rateDivisor : noLimit);
    }

    void End(model_t& voice) {
        Stop(voice);
        if (!voice.endsItself) voice.SetPos(0);
    }

    model_ring_t ring;
    frames_t device;  // by frame: what was sent last
    std::list<model_t*> starting;
    uint64_t horizon, lead, writeLead;
    bool startsAtHorizon, isEmulated;
    uint64_t now = 0, nextPass = 0;            // clock units
    uint64_t base = origin, written = origin;  // frames
};

class EngineModel : public EngineFixture_t {
  protected:
    uint32_t Below(uint32_t limit) { return static_cast<uint32_t>(generator()) % limit; }
    bool Once(uint32_t in) { return Below(in) == 0; }
    float Part() { return Once(3) ? 1.0f : static_cast<float>(Below(1001)) / 1000.0f; }
    float Ratio() {
        return Once(3) ? 1.0f : 0.2f + static_cast<float>(Below(Once(2) ? 7790 : 1500)) / 1000.0f;
    }

    void MakeSounds() {
        sounds.clear();
        for (uint32_t i = 0, count = 2 + Below(5); i < count; ++i) {
            const uint32_t frames = Once(10) ? 1 + Below(8) : Once(2) ? 1 + Below(1'000) : 1 + Below(30'000);
            const sound_format_t format{1 + Below(Once(3) ? 6 : 2), Once(2), Once(2),
                                        Once(3) ? static_cast<float>(Below(1500)) / 1000.0f : 1.0f,
                                        Once(5) ? Below(8) : 0};
            const int most = format.is16Bit ? 8'000 : 30;
            sounds.push_back(MakeSound("s" + std::to_string(i), frames, format, [&](uint32_t, int) {
                return static_cast<int>(Below(static_cast<uint32_t>(2 * most))) - most;
            }));
        }
    }
    Sound_t* AnySound() { return sounds[Below(static_cast<uint32_t>(sounds.size()))]; }

    void MakeVoice(EngineModel_t& model) {
        Sound_t* sound = AnySound();
        const int mode = Once(4) ? static_cast<int>(Below(4)) : 0;
        const bool isSliding = Once(4), isOneShot = !isSliding && Once(4);
        if (isOneShot) {
            sound->PlayOneShot();
        } else if (isSliding) {
            new SlidingVoice_t(sound, mode);
        } else {
            sound->CreateCompatibleVoice(mode);
        }
        model_t& voice = model.voices.emplace_back(
            sound, static_cast<Voice_t*>(AudioSystem::allVoices.tail->data), isSliding);
        voice.endsItself = isOneShot;
        voice.mode = isOneShot ? 2 : mode;
        voice.TakeSettings();
        if (isOneShot) model.Play(voice);
    }

    void Change(EngineModel_t& model, model_t& voice) {
        Voice_t& real = *voice.real;
        const uint32_t kind = Below(11), at = Below(real.totalLength + 2);
        if (kind <= 2) real.Play(), model.Play(voice);
        if (kind == 3) real.Stop(), model.Stop(voice);
        if (kind == 4) real.SetPos(at), voice.SetPos(at < real.totalLength ? at : 0);
        if (kind == 5 && voice.queue.size() < 5) {
            voice.queue.push_back(AnySound());
            real.QueueSound(const_cast<Sound_t*>(voice.queue.back()));
        }
        if (kind == 6) real.isLooping = Once(2);
        if (kind == 7) real.SetVolume(Part(), Part());
        if (kind == 8) real.SetFrequency(Ratio());
        if (kind == 9) real.stopPosition = Once(2) ? at : noStopPosition;
        if (kind == 10) real.SetBaseVolume(Part());
        if (kind >= 6) voice.TakeSettings();
        if (voice.isSliding && Once(2)) Slide(voice, at);
    }

    void Slide(model_t& voice, uint32_t from) {
        auto& real = static_cast<SlidingVoice_t&>(*voice.real);
        const uint32_t to = from + Below(20'000);
        ramp_t& ramp = Once(2) ? voice.frequency : voice.volume;
        ramp = {true, from, to, {Part(), Part(), Part(), Part()}};
        if (&ramp == &voice.volume) {
            real.SetVolumeSlide(from, to, ramp.values[0], ramp.values[1], ramp.values[2], ramp.values[3]);
            return;
        }
        ramp.values[0] = Ratio();
        ramp.values[1] = Ratio();
        real.SetFrequencySlide(from, to, ramp.values[0], ramp.values[1]);
    }

    // From nothing up to what leaves no time for a start into the past; some unknown.
    void MakeCosts(EngineModel_t& model) {
        for (float& cost : model.costs) cost = Once(3) ? 0.0f : static_cast<float>(Below(1'500)) * 1e-8f;
        std::copy_n(model.costs, 8, SimpleVoice_t::mixCosts.costs);
        std::copy_n(model.costs + 8, 8, SlidingVoice_t::mixCosts.costs);
    }

    void ChangeSomething(EngineModel_t& model) {
        if (model.voices.size() < 10 && Once(3)) MakeVoice(model);
        for (auto at = model.voices.begin(); at != model.voices.end();) {
            model_t& voice = *at++;
            if (voice.endsItself || !Once(3)) continue;
            if (Once(12)) {
                delete voice.real;
                model.Delete(voice);
            } else {
                Change(model, voice);
            }
        }
    }

    static void CompareVoices(const EngineModel_t& model) {
        ASSERT_EQ(static_cast<std::size_t>(AudioSystem::allVoices.count), model.voices.size());
        for (const model_t& voice : model.voices) {
            ASSERT_EQ(voice.real->isPlaying, voice.isPlaying);
            ASSERT_EQ(voice.real->queueBase, voice.base);
            ASSERT_EQ(voice.real->position, voice.position);
            ASSERT_EQ(voice.real->fraction, voice.fraction);
        }
    }

    // A host of some 60 frames, never later than the engine allows for.
    void RunProgram(uint32_t seed) {
        generator.seed(seed);
        platform::ResetManualOutput();
        platform::ManualSettings().isEmulated = Once(6);
        platform::ManualSettings().writeLeadBytes = Once(3) ? 4 * Below(500) : 0;
        SimpleVoice_t::mixCosts = {};
        SlidingVoice_t::mixCosts = {};
        ASSERT_TRUE(Start());
        const uint32_t frameRates[] = {8, 12, 30, 60, 100};
        const uint32_t frameRate = frameRates[Below(5)], ticks = 10 + Below(50), longest = 44'100 / frameRate;
        AudioSystem::SetWorstCaseFrameRate(static_cast<float>(frameRate));
        MakeSounds();
        EngineModel_t model(uint64_t{ticks} * longest);
        if (Once(2)) MakeCosts(model);
        frames_t heard, wanted;
        for (uint32_t tick = 0; tick < ticks; ++tick) {
            if (Once(2)) ChangeSomething(model);
            AudioSystem::MixVoices();
            model.Tick();
            ASSERT_NO_FATAL_FAILURE(CompareVoices(model)) << "tick " << tick;
            const uint32_t frames = Once(5) ? Below(longest + 1) : std::min(longest, 735u);
            const frames_t played = Play(frames);
            heard.insert(heard.end(), played.begin(), played.end());
            model.PassTime(frames, wanted);
            ASSERT_EQ(heard.size(), wanted.size());
            const auto [one, other] = std::mismatch(heard.begin(), heard.end(), wanted.begin());
            ASSERT_EQ(one, heard.end()) << "tick " << tick << ", frame " << one - heard.begin() << ": "
                                        << *one << " instead of " << *other;
        }
        soundsHeard +=
            std::count_if(heard.begin(), heard.end(), [](frame_t frame) { return frame != frame_t{}; });
        AudioSystem::DeInitialize();
    }

    std::mt19937 generator;
    std::vector<Sound_t*> sounds;
    int64_t soundsHeard = 0;
};

TEST_F(EngineModel, RandomHostsHearTheSame) {
    const uint32_t programs = std::getenv("RINGMIX_LONG") ? 10'000 : RINGMIX_TEST_SANITIZED ? 60 : 400;
    for (uint32_t seed = 1; seed <= programs; ++seed) {
        SCOPED_TRACE("program " + std::to_string(seed));
        ASSERT_NO_FATAL_FAILURE(RunProgram(seed));
    }
    EXPECT_GT(soundsHeard, programs * 5'000);
}

}  // namespace
