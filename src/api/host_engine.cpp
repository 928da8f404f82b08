// host_engine.cpp - starting with an answer, and figures of the whole engine.
#include <ringmix/output_selection.h>

#include <cmath>
#include <string>

#include "api/host_access.h"
#include "compressed/compressed_voice.h"
#include "core/audio_system.h"
#include "output/dir_sound.h"
#include "platform/debug_output.h"
#include "platform/output_backends.h"
#include "streaming/compressed_stream_voice.h"
#include "streaming/raw_stream_voice.h"
#include "streaming/stream_voice.h"
#include "voices/sliding_voice.h"

namespace ringmix {

using host::Ask;
using host::Refuse;

namespace {

std::string BackendNames() {
    std::string names;
    for (unsigned int i = 0; i < OutputSelection_t::GetBackendCount(); ++i)
        names += (i == 0 ? "" : ", ") + std::string(OutputSelection_t::GetBackendName(i));
    return names;
}

uint64_t SampleBytes(const Sound_t& sound) { return uint64_t{sound.frameCount} * sound.bytesPerFrame; }

uint64_t ResidentBytes(Sound_t& sound) {
    if (auto* raw = dynamic_cast<RawStreamSound_t*>(&sound))
        return uint64_t{raw->committedPages - raw->releasedPages} * AudioSystem::systemPageSize;
    if (auto* stream = dynamic_cast<StreamSound_t*>(&sound)) return stream->pages.CommittedBytes();
    if (auto* stream = dynamic_cast<CompressedStreamSound_t*>(&sound))
        return stream->filePages.CommittedBytes() + stream->decodedPages.CommittedBytes();
    if (auto* compressed = dynamic_cast<CompressedSound_t*>(&sound))
        return compressed->compressedBytes + compressed->Pages().CommittedBytes();
    return SampleBytes(sound);
}

uint64_t HeldBytes(Voice_t& voice) {
    if (auto* stream = dynamic_cast<StreamVoice_t*>(&voice)) return stream->holds.HeldBytes();
    if (auto* stream = dynamic_cast<CompressedStreamVoice_t*>(&voice))
        return stream->holds.HeldBytes() + stream->streamSound->decodedPages.BytesOf(stream->window);
    if (auto* compressed = dynamic_cast<CompressedVoice_t*>(&voice))
        return compressed->compressedSound->Pages().BytesOf(compressed->window);
    return 0;
}

uint32_t FramesFrom(uint32_t from, uint32_t to) {
    return ((to - from + AudioSystem::ringLength) % AudioSystem::ringLength) / 2;
}

bool IsQueued(const Voice_t& voice, const Sound_t& sound) { return voice.soundQueue.Find(&sound) != nullptr; }

template <typename Action>
void ForEachVoice(Action act) {
    for (const ListNode_t* node = AudioSystem::allVoices.head; node; node = node->next)
        act(*static_cast<Voice_t*>(node->data));
}

template <typename Action>
void ForEachArchive(Action act) {
    String_t key;
    void* archive = nullptr;
    for (void* position = AudioSystem::soundTable.StartPosition(); position;) {
        AudioSystem::soundTable.GetNext(position, key, archive);
        act(*static_cast<Archive_t*>(archive));
    }
}

void CountSounds(engine_statistics_t& statistics) {
    ForEachArchive([&](const Archive_t& archive) {
        ++statistics.archives;
        statistics.sounds += static_cast<uint32_t>(archive.count);
        String_t key;
        void* sound = nullptr;
        for (void* position = archive.StartPosition(); position;) {
            archive.GetNext(position, key, sound);
            statistics.soundBytes += ResidentBytes(*static_cast<Sound_t*>(sound));
        }
    });
}

void ReadRing(engine_statistics_t& statistics) {
    using namespace AudioSystem;
    statistics.ringFrames = ringLength / 2;
    statistics.baseFrame = ringBase / 2;
    statistics.clearFrame = ringClear / 2;
    statistics.horizonFrames = mixHorizon / 2;
    statistics.queuedFrames = device->GetQueuedBytes() / 4;
    statistics.underruns = underrunCount;
    statistics.underrunFrames = underrunFrames;
    const platform::CriticalSectionLock_t lock(ringLock);
    statistics.outputFrame = ringOutput / 2;
}

// What the device, or whoever failed, has said of it.
result_t RefuseStart() {
    char reason[160];
    platform::CopyLatestDebugLine(reason, sizeof reason);
    const platform::output_backend_t& output = platform::SelectedOutput();
    const char* device = output.tellsStatus ? OutputSelection_t::GetSelectedDevice() : "";
    return Refuse(problem_t::cannotStart, "the output \"%s\"%s%.40s does not start: %s", output.name,
                  *device ? ", device " : "", device, *reason ? reason : "it refuses");
}

const MixCostTable_t& CostsOf(voice_kind_t kind) {
    switch (kind) {
        case voice_kind_t::sliding:
            return SlidingVoice_t::mixCosts;
        case voice_kind_t::compressed:
            return CompressedVoice_t::mixCosts;
        case voice_kind_t::stream:
            return StreamVoice_t::mixCosts;
        case voice_kind_t::compressedStream:
            return CompressedStreamVoice_t::mixCosts;
        case voice_kind_t::rawStream:
            return RawStreamVoice_t::mixCosts;
        default:
            return SimpleVoice_t::mixCosts;
    }
}

}  // namespace

result_t Start(const start_options_t& options) {
    const host::engineLock_t lock(host::engineLock);
    if (AudioSystem::initialized) return Refuse(problem_t::alreadyRuns, "the engine runs already");
    if (!(options.worstCaseFramesPerSecond > 0.0f) || !std::isfinite(options.worstCaseFramesPerSecond))
        return Refuse(problem_t::badArgument, "a frame rate of %g is not above 0",
                      static_cast<double>(options.worstCaseFramesPerSecond));
    if (options.backend && !OutputSelection_t::SelectBackend(options.backend))
        return Refuse(problem_t::notFound, "there is no output \"%s\"; there are %s", options.backend,
                      BackendNames().c_str());
    if (!AudioSystem::Initialize(options.window, options.usePrimaryBuffer, options.streamPageBytes,
                                 options.streamPagesAhead, options.compressedPageBytes))
        return RefuseStart();
    host::ClearNews();
    AudioSystem::SetWorstCaseFrameRate(options.worstCaseFramesPerSecond);
    return {};
}

void Stop() {
    const host::engineLock_t lock(host::engineLock);
    AudioSystem::DeInitialize();
}

engine_statistics_t GetStatistics() {
    const host::engineLock_t lock(host::engineLock);
    engine_statistics_t statistics;
    statistics.droppedNews = host::DroppedNews();
    if (!AudioSystem::initialized) return statistics;
    ForEachVoice([&](const Voice_t& voice) {
        ++statistics.voices;
        statistics.playingVoices += voice.isPlaying;
    });
    CountSounds(statistics);
    ReadRing(statistics);
    return statistics;
}

sound_statistics_t GetStatistics(SoundHandle_t handle) {
    return Ask(handle, sound_statistics_t{}, [](Sound_t& sound) {
        sound_statistics_t statistics{ResidentBytes(sound), SampleBytes(sound), 0};
        ForEachVoice([&](const Voice_t& voice) { statistics.voices += IsQueued(voice, sound); });
        return statistics;
    });
}

voice_statistics_t GetStatistics(VoiceHandle_t handle) {
    return Ask(handle, voice_statistics_t{}, [](Voice_t& voice) {
        voice_statistics_t statistics;
        statistics.heldBytes = HeldBytes(voice);
        statistics.queuedSounds = voice.totalLength > 0 ? static_cast<uint32_t>(voice.soundQueue.count) : 0;
        statistics.mixSeconds = voice.GetMixCost();
        if (voice.isPlaying && !AudioSystem::startingVoices.Find(&voice))
            statistics.aheadFrames = FramesFrom(AudioSystem::ringBase, voice.ringPosition);
        return statistics;
    });
}

mix_costs_t GetMixCosts(voice_kind_t kind) {
    const host::engineLock_t lock(host::engineLock);
    const MixCostTable_t& table = CostsOf(kind);
    mix_costs_t costs;
    for (uint32_t i = 0; i < 8; ++i) costs.seconds[i / 4][i / 2 % 2][i % 2] = table.costs[i];
    return costs;
}

}  // namespace ringmix
