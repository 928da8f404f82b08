// live_engine.cpp - see the header.
#include "tools/live_engine.h"

#include <ringmix/base_wrapper.h>
#include <ringmix/output_selection.h>

#include <algorithm>
#include <mutex>

#include "core/audio_system.h"
#include "tools/text_table.h"

namespace tools {

namespace {

constexpr auto framePeriod = std::chrono::microseconds(16'667);
constexpr auto mostLateness = std::chrono::milliseconds(100);  // what is later does not catch up
constexpr unsigned streamPageBytes = 16384, streamPagesAhead = 16, decodedPageBytes = 16384;
constexpr unsigned loaderWaitMs = 50;

std::mutex reasonMutex;
std::string reason;  // the engine's latest line: why it does not start

void KeepReason(const char* line) {
    const std::lock_guard lock(reasonMutex);
    reason = line;
    while (!reason.empty() && (reason.back() == '\n' || reason.back() == '.')) reason.pop_back();
}

std::string TakeReason() {
    const std::lock_guard lock(reasonMutex);
    return Printable(std::exchange(reason, {}));
}

}  // namespace

outcome_t LiveEngine_t::Start(const std::string& device) {
    const bool isNull = device == "null";
    OutputSelection_t::SelectBackend(isNull ? "null" : "system");
    if (!isNull) OutputSelection_t::SelectDevice(device.empty() ? "default" : device.c_str());
    OutputSelection_t::SetDebugSink(KeepReason);
    AudioSystem::Initialize(nullptr, false, streamPageBytes, streamPagesAhead, decodedPageBytes);
    OutputSelection_t::SetDebugSink(nullptr);
    const std::string why = TakeReason();
    if (!AudioSystem::IsInitialized()) {
        return Failure(device.empty() ? "default" : device,
                       why + " (ringmix devices lists what there is; --device null plays unheard)");
    }
    loader = std::thread([this] {
        while (!mustEnd) {
            if (BaseWrapper_t::WaitForStreamLoad(loaderWaitMs) == 0) BaseWrapper_t::LoadStreams();
        }
    });
    nextFrame = std::chrono::steady_clock::now();
    return Success();
}

LiveEngine_t::~LiveEngine_t() {
    mustEnd = true;
    if (loader.joinable()) loader.join();
    AudioSystem::DeInitialize();
}

void LiveEngine_t::Tick() {
    const uint32_t before = AudioSystem::ringBase;
    AudioSystem::MixVoices();
    const uint32_t units =
        (AudioSystem::ringBase + AudioSystem::ringLength - before) % AudioSystem::ringLength;
    outputFrames += units / 2;
}

void LiveEngine_t::WaitForFrame() {
    nextFrame = std::max(nextFrame + framePeriod, std::chrono::steady_clock::now() - mostLateness);
    std::this_thread::sleep_until(nextFrame);
}

}  // namespace tools
