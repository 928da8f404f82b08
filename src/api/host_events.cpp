// host_events.cpp - news of voices in a list of fixed size, so that a tick takes no memory, and the event
// that a host's thread waits for.
#include <array>

#include "api/host_access.h"
#include "platform/event.h"
#include "voices/voice.h"

namespace host {
namespace {

constexpr uint32_t newsRoom = 1024;  // 16 for each of 64 voices, and the rest for hosts that look seldom

// Under engineLock, like every voice.
std::array<news_t, newsRoom> news;
uint32_t oldest = 0, newsCount = 0, droppedNews = 0;

news_t& At(uint32_t index) { return news[(oldest + index) % newsRoom]; }

void Post(news_kind_t kind, const Voice_t& voice) {
    const VoiceHandle_t handle{voice.anchor.Id()};
    if (kind == news_kind_t::looped && newsCount > 0) {
        news_t& newest = At(newsCount - 1);  // a short sound loops many times a tick
        if (newest.kind == kind && newest.voice == handle) {
            ++newest.rounds;
            return;
        }
    }
    if (newsCount == newsRoom) {
        oldest = (oldest + 1) % newsRoom;
        --newsCount;
        ++droppedNews;
    }
    At(newsCount++) = {kind, kind == news_kind_t::looped ? 1u : 0u, handle};
}

class Reporter_t : public VoiceWatch_t {
  public:
    explicit Reporter_t(bool loopsToo) : tellsLoops(loopsToo) {}

    void OnEnd(const Voice_t& voice) override { Post(news_kind_t::ended, voice); }
    void OnStop(const Voice_t& voice) override { Post(news_kind_t::stopped, voice); }
    void OnLoop(const Voice_t& voice) override {
        if (tellsLoops) Post(news_kind_t::looped, voice);
    }

  private:
    const bool tellsLoops;
};

Reporter_t endReporter(false), loopReporter(true);

}  // namespace

void Watch(Voice_t& voice, bool wantsLoopNews) {
    (void)HandleOf(voice);  // now: there is no memory to be had in a tick
    voice.voiceWatch = wantsLoopNews ? &loopReporter : &endReporter;
}

void ClearNews() { oldest = newsCount = droppedNews = 0; }
uint32_t DroppedNews() { return droppedNews; }

}  // namespace host

namespace ringmix {

bool TakeNews(news_t& taken) {
    const host::engineLock_t lock(host::engineLock);
    if (host::newsCount == 0) return false;
    taken = host::At(0);
    host::oldest = (host::oldest + 1) % host::newsRoom;
    --host::newsCount;
    return true;
}

struct CompletionEvent_t::state_t {
    platform::Event_t event;
};

CompletionEvent_t::CompletionEvent_t() : state(new (std::nothrow) state_t) {
    if (state) state->event.Create();
}

CompletionEvent_t::~CompletionEvent_t() {
    if (!state) return;
    const host::engineLock_t lock(host::engineLock);
    for (const ListNode_t* node = AudioSystem::allVoices.head; node; node = node->next) {
        auto& voice = *static_cast<Voice_t*>(node->data);
        if (voice.completionEvent == &state->event) voice.completionEvent = nullptr;
    }
    delete state;
}

bool CompletionEvent_t::Wait(uint32_t timeoutMs) {
    return state && state->event.Wait(timeoutMs) == platform::waitSignalled;
}

result_t VoiceHandle_t::SetCompletionEvent(CompletionEvent_t* event) const {
    return host::With(*this, [&](Voice_t& voice) {
        voice.completionEvent = event && event->state ? &event->state->event : nullptr;
        return result_t{};
    });
}

}  // namespace ringmix
