#include "platform/output_feeder.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "platform/debug_output.h"

namespace platform {
namespace {

constexpr int64_t nsPerMs = 1'000'000;
constexpr int64_t reopenNs = 500 * nsPerMs;    // from one attempt to the next
constexpr int64_t stallNs = 500 * nsPerMs;     // a device that has not moved for so long is lost
constexpr uint32_t mostRecoveries = 5;         // in a row, none of which was followed by progress
constexpr uint32_t overfullFrames = 4410;      // beyond the lead
constexpr int64_t overfullNs = 500 * nsPerMs;  // a device that only stumbled has caught up by then
constexpr int64_t leastStepNs = 2 * nsPerMs, mostStepNs = 5 * nsPerMs;
constexpr int64_t idleNs = 5 * nsPerMs;  // until there is a buffer to play

uint32_t FramesToMs(uint32_t frames) { return frames * 1000 / outputRateHz; }

[[gnu::format(printf, 1, 2)]] void Say(const char* form, ...) {
    char line[320];
    va_list values;
    va_start(values, form);
    std::vsnprintf(line, sizeof line, form, values);
    va_end(values);
    OutputDebugLine(line);
}

}  // namespace

OutputFeeder_t::OutputFeeder_t(heard_ring_t& heardRing, PcmStream_t& device, uint32_t leadFrames,
                               thread_priority_t priority)
    : heard(heardRing), pcm(device), staging(std::size_t{leadLimitFrames} * outputFrameBytes) {
    status.leadFrames = std::min(leadFrames, leadLimitFrames);
    status.feederPriority = priority;
}

bool OutputFeeder_t::Open(int64_t nowNs) {
    nextOpenNs = nowNs + reopenNs;
    const int result = pcm.Open(status.setup);
    if (result < 0) {
        pcm.Close();
        if (status.losses == 0) Say("Cannot open the sound output: %s\n", pcm.ErrorText(result));
        return false;
    }
    const pcm_setup_t& setup = status.setup;
    leadLimit = std::min(leadLimitFrames, setup.bufferFrames * 3 / 4);
    status.leadFrames = std::min(std::max(status.leadFrames, 2 * setup.periodFrames), leadLimit);
    status.isOpen = true;
    Say("Sound output: %s, %u Hz, %s, %u channels, fed %u ms ahead\n", setup.chain, setup.rateHz,
        setup.format, setup.channels, FramesToMs(status.leadFrames));
    recoveries = 0;
    BeginEmpty(nowNs);
    return true;
}

void OutputFeeder_t::BeginEmpty(int64_t nowNs) {
    isFed = false;
    handedFrames = consumedFrames = 0;
    progressNs = notOverfullNs = nowNs;
    SetOutputStatus(status);
}

int64_t OutputFeeder_t::LeadNs() const { return int64_t{status.leadFrames} * 1'000'000'000 / outputRateHz; }

int64_t OutputFeeder_t::StepNs() const { return std::clamp(LeadNs() / 4, leastStepNs, mostStepNs); }

int64_t OutputFeeder_t::Step(int64_t nowNs) {
    {
        const std::lock_guard lock(heard.mutex);
        if (!heard.ring) return idleNs;
    }
    if (status.isOpen) return Feed(nowNs);
    if (nowNs < nextOpenNs) return nextOpenNs - nowNs;
    // A device may take its time to open: what to feed is asked for afresh.
    return Open(nowNs) ? 0 : reopenNs;
}

int64_t OutputFeeder_t::Feed(int64_t nowNs) {
    // However long it took to open and until there was a buffer to play: only what was fed can move.
    if (handedFrames == 0 && recoveries == 0) progressNs = nowNs;
    const long queued = pcm.QueuedFrames();
    if (queued < 0) return Recover(nowNs, static_cast<int>(queued));
    if (isFed && queued == 0) {
        NoteUnderrun();
        BeginEmpty(nowNs);
    }
    NoteProgress(nowNs, static_cast<uint64_t>(queued));
    if (nowNs - progressNs > stallNs) return Lose(nowNs, "it does not move");

    const uint32_t frames = CollectUpToLead(nowNs, static_cast<uint32_t>(queued));
    if (frames > 0) {
        const long taken = pcm.Write(staging.data(), frames);
        if (taken < 0 && taken != -EAGAIN) return Recover(nowNs, static_cast<int>(taken));
        if (taken < static_cast<long>(frames)) return Restart(nowNs);  // it is full
        handedFrames += frames;
        isFed = true;
    }
    const long excess = queued + static_cast<long>(frames) - static_cast<long>(status.leadFrames);
    if (excess <= static_cast<long>(overfullFrames)) notOverfullNs = nowNs;
    if (nowNs - notOverfullNs > overfullNs) return Restart(nowNs);
    Steer(nowNs, static_cast<double>(excess), static_cast<uint32_t>(std::max(pcm.DelayFrames(), 0l)));
    return StepNs();
}

void OutputFeeder_t::NoteProgress(int64_t nowNs, uint64_t queuedFrames) {
    const uint64_t consumed = handedFrames - std::min(handedFrames, queuedFrames);
    if (consumed <= consumedFrames) return;
    if (consumedFrames > 0 && nowNs - progressNs > LeadNs()) GrowLead("moves unevenly");
    consumedFrames = consumed;
    progressNs = nowNs;
    recoveries = 0;
}

// What is due; for a device that was empty with silence before it, up to the lead.
uint32_t OutputFeeder_t::CollectUpToLead(int64_t nowNs, uint32_t queuedFrames) {
    uint32_t frames = 0;
    {
        const std::lock_guard lock(heard.mutex);
        if (heard.ring) frames = heard.ring->Collect(nowNs, staging.data(), status.leadFrames);
    }
    if (isFed || queuedFrames + frames >= status.leadFrames) return frames;
    const std::size_t silentBytes = std::size_t{status.leadFrames - queuedFrames - frames} * outputFrameBytes;
    std::memmove(staging.data() + silentBytes, staging.data(), std::size_t{frames} * outputFrameBytes);
    std::memset(staging.data(), 0, silentBytes);
    return status.leadFrames - queuedFrames;
}

void OutputFeeder_t::Steer(int64_t nowNs, double excessFrames, uint32_t latencyFrames) {
    const std::lock_guard lock(heard.mutex);
    if (!heard.ring) return;
    heard.ring->Steer(nowNs, excessFrames);
    heard.ring->SetLatency(latencyFrames);
}

// Also where a device only might run dry, since it took nothing for longer than the lead lasts: a sound
// server does not always tell that it did.
void OutputFeeder_t::GrowLead(const char* reason) {
    const uint32_t lead = std::min(status.leadFrames * 2, leadLimit);
    if (lead == status.leadFrames) return;
    status.leadFrames = lead;
    Say("Sound output %s: fed %u ms ahead from here on\n", reason, FramesToMs(lead));
    SetOutputStatus(status);
}

void OutputFeeder_t::NoteUnderrun() {
    ++status.underruns;
    GrowLead("ran dry");
}

// A device that has moved since it was last empty has run dry; one that has not never came alive.
int64_t OutputFeeder_t::Recover(int64_t nowNs, int error) {
    const bool hasMoved = consumedFrames > 0;
    if (++recoveries > mostRecoveries) return Lose(nowNs, pcm.ErrorText(error));
    const int result = pcm.Recover(error);
    if (result < 0) return Lose(nowNs, pcm.ErrorText(result));
    if (hasMoved && error == -EPIPE) NoteUnderrun();
    const int64_t lastProgressNs = progressNs;
    BeginEmpty(nowNs);
    if (!hasMoved) progressNs = lastProgressNs;
    return hasMoved ? 0 : StepNs();
}

// It stood for a while, and what it holds by now would be late for ever.
int64_t OutputFeeder_t::Restart(int64_t nowNs) {
    const int64_t lastProgressNs = progressNs;
    if (++recoveries > mostRecoveries) return Lose(nowNs, "it does not move");
    const int result = pcm.Restart();
    if (result < 0) return Lose(nowNs, pcm.ErrorText(result));
    ++status.underruns;
    Say("Sound output stood still and starts afresh\n");
    BeginEmpty(nowNs);
    progressNs = lastProgressNs;
    return StepNs();
}

int64_t OutputFeeder_t::Lose(int64_t nowNs, const char* reason) {
    ++status.losses;
    status.isOpen = false;
    Say("Sound output is lost (%s), trying to open it again\n", reason);
    SetOutputStatus(status);
    Steer(nowNs, 0, 0);
    pcm.Close();  // may block
    return 0;
}

}  // namespace platform
