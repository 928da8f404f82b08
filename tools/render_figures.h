// render_figures.h - what a render has to tell besides its sound. Filled while it runs, shown as a page or as
// JSON.
//
// Frames are output frames, 44,100 a second, from the scene's start.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/loudness.h"
#include "tools/signal.h"
#include "tools/stream_statistics.h"

namespace tools {

enum class ending_t {
    sceneEnd,  // it was still playing then
    played,    // to its end
    cutShort,  // its sound could not go on: a broken block, no memory, a loop shorter than one step
    stopped,
    freed
};

// From a Play, or a one-shot, to whatever ended it.
struct play_t {
    std::string voice;                   // the scene's name for it; empty: a one-shot
    std::string sounds;                  // the scene's names, joined with " + " where there is a queue
    uint32_t line = 0;                   // of the event
    double askedSecond = 0.0;            // the event's own time
    uint32_t askedFrame = 0;             // the host frame in which it was applied
    std::optional<uint32_t> heardFrame;  // its first frame in the output; empty: it has none
    uint32_t endFrame = 0;               // behind its last one; of a voice that slides, to within a tick
    ending_t ending = ending_t::sceneEnd;
    uint32_t endLine = 0;  // of the event that ended it
    uint32_t rounds = 0;   // of its loop, as far as it was mixed

    // As far as anything but the end of the scene has limited it.
    uint32_t HeardFrames() const { return heardFrame && endFrame > *heardFrame ? endFrame - *heardFrame : 0; }
};

// A host frame, or some in a row where a scene has very many.
struct host_frame_t {
    uint32_t frame = 0;  // when it began
    uint32_t hostFrames = 1;
    uint32_t stalled = 0, deviceGone = 0;  // host frames
    // Ahead of what is played: behind the tick, and how low that fell before the next one.
    uint32_t leadFrames = 0, lowestLeadFrames = 0;
    uint32_t mixedFrames = 0, lowestMixedFrames = 0;
    uint32_t clearFrames = 0;
    uint32_t rewindFrames = 0;    // how far behind what was sent the tick's starts lie
    uint32_t underrunFrames = 0;  // silence sent because the host was late
    uint32_t lateFrames = 0;      // mixed before the page of their stream had arrived
    uint32_t voices = 0;          // heard at the same time, at most
    double tickSeconds =
        0.0;  // wall-clock time of MixVoices, the longest one: measured, never the same twice
};

struct render_figures_t {
    std::string scene;  // its file
    double hostFrameRate = 0.0;
    uint32_t frames = 0;
    std::string hash;
    signal_levels_t levels;
    double mixPeak = 0.0;  // of the sums, before they are clipped to 16 bits
    std::optional<loudness_t> loudness;
    std::vector<play_t> plays;  // in the order in which they were asked for
    std::vector<host_frame_t> hostFrames;
    uint32_t ringFrames = 0, deviceFrames = 0;
    uint32_t underruns = 0, deviceJumps = 0;
    uint32_t mostVoices = 0;
    std::vector<stream_statistics_t> streams;

    void CountVoices();  // into mostVoices and the host frames, from the plays
    uint64_t UnderrunFrames() const;
    uint64_t LateFrames() const;
    uint32_t HeardPlays() const;
    // Over all host frames that ticked; 0 without any.
    double MedianTickSeconds() const;
    double LongestTickSeconds() const;
};

const char* EndingName(ending_t ending);  // one word, as the JSON has it

}  // namespace tools
