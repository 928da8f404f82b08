// platform_test.cpp - events, threads and the null device in real time; the clock that stands still.
#include <gtest/gtest.h>
#include <sched.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "engine_fixture.h"
#include "platform/counter.h"
#include "platform/event.h"
#include "platform/manual_clock.h"
#include "platform/thread.h"

namespace {

using platform::Event_t;
using body_t = std::function<void()>;

constexpr uint64_t countsPerMs = 10'000;

platform::Thread_t* StartBody(body_t& body) {
    return platform::StartThread([](void* argument) { (*static_cast<body_t*>(argument))(); }, &body);
}

void OpenSecondary(DirSound_t& device) {
    const WAVEFORMATEX format{1, 2, 44100, 176400, 4, 16, 0};
    ASSERT_TRUE(device.OpenForSecondary(nullptr));
    ASSERT_TRUE(device.CreateSecondaryBuffer({20, DSBCAPS_LOCSOFTWARE, 32768, 0, &format}));
}

void PassMs(uint32_t ms) {
    platform::CurrentManualClock()->PassTime(ms * platform::ManualClock_t::unitsPerMs);
}

// The same answers under either clock.
class Events_t : public testing::TestWithParam<const char*> {
  protected:
    void SetUp() override {
        ASSERT_TRUE(platform::SelectOutput(GetParam()));
        platform::ResetManualOutput();
    }
};
INSTANTIATE_TEST_SUITE_P(Clock, Events_t, testing::Values("null", "manual"),
                         [](const auto& which) { return std::string(which.param); });

TEST_P(Events_t, Answer) {
    Event_t event;
    EXPECT_EQ(event.Wait(0), 0xFFFFFFFFu) << "never opened";
    event.Set();
    event.Create();
    EXPECT_EQ(event.Wait(0), 258u) << "set before it was open";
    event.Set();
    event.Set();
    EXPECT_EQ(event.Wait(platform::waitForever), 0u);
    EXPECT_EQ(event.Wait(1), 258u) << "one wait takes all that was set";
    event.Set();
    event.Close();
    EXPECT_EQ(event.Wait(1000), 0xFFFFFFFFu);
    event.Create();
    EXPECT_EQ(event.Wait(0), 258u) << "opened again: clear";
}

TEST_P(Events_t, CloseAndSetEndTheWaitOfAnotherThread) {
    for (const bool isClosed : {false, true}) {
        Event_t asked, isWaiting;
        asked.Create();
        isWaiting.Create();
        uint32_t answer = 1;
        body_t body = [&] {
            isWaiting.Set();
            answer = asked.Wait(60'000);
        };
        platform::Thread_t* thread = StartBody(body);
        ASSERT_EQ(isWaiting.Wait(60'000), 0u);
        EXPECT_FALSE(platform::JoinThread(thread, 0));
        EXPECT_FALSE(platform::JoinThread(thread, 5)) << "it stands in its wait by now";
        isClosed ? asked.Close() : asked.Set();
        ASSERT_TRUE(platform::JoinThread(thread, 60'000));
        EXPECT_EQ(answer, isClosed ? 0xFFFFFFFFu : 0u);
    }
}

class ManualClock_t : public EngineFixture_t {};

TEST_F(ManualClock_t, TimeOutsComeInOrderAndTiesBeforeTheHost) {
    Event_t never;
    never.Create();
    std::string order;
    const auto waiter = [&](char name, std::vector<uint32_t> waitsMs) {
        return [&never, &order, name, waitsMs] {
            for (const uint32_t ms : waitsMs) {
                EXPECT_EQ(never.Wait(ms), 258u);
                order += name;
            }
        };
    };
    body_t bodies[] = {waiter('a', {7, 7, 6}), waiter('b', {5, 0, 5, 10}), waiter('c', {20, 1})};
    platform::Thread_t* threads[3];
    for (int i = 0; i < 3; ++i) threads[i] = StartBody(bodies[i]);
    EXPECT_EQ(order, "") << "nobody runs while the host does";
    PassMs(20);
    EXPECT_EQ(order, "bbabaabc")
        << "at 5, 5, 7, 10, 14, then all three at 20, in order of arrival, before the host";
    for (platform::Thread_t* thread : threads) EXPECT_TRUE(platform::JoinThread(thread, 1));
    EXPECT_EQ(order, "bbabaabcc") << "the join let the last millisecond pass";
    EXPECT_EQ(platform::ReadCounter(), 21 * countsPerMs + 1);
}

TEST_F(ManualClock_t, ReadingsCountOnTheHostAlone) {
    Event_t never;
    never.Create();
    std::vector<uint64_t> seen;
    body_t body = [&] {
        for (int i = 0; i < 3; ++i) seen.push_back(platform::ReadCounter());
        (void)never.Wait(2);
        seen.push_back(platform::ReadCounter());
    };
    EXPECT_EQ(platform::CounterFrequency(), 10'000'000u);
    EXPECT_EQ(platform::ReadCounter(), 1u);
    EXPECT_EQ(platform::ReadCounter(), 2u);
    platform::Thread_t* thread = StartBody(body);
    ASSERT_TRUE(platform::JoinThread(thread, 10));
    EXPECT_EQ(seen, (std::vector<uint64_t>{2, 2, 2, 2 * countsPerMs + 2}));
    EXPECT_EQ(platform::ReadCounter(), 2 * countsPerMs + 3)
        << "the join ended with the thread, not with its own time";
    EXPECT_EQ(never.Wait(3), 258u);
    EXPECT_EQ(platform::ReadCounter(), 5 * countsPerMs + 4);
}

TEST_F(ManualClock_t, NeitherFractionsNorTheHostAreLost) {
    for (int i = 0; i < 441; ++i) Play(1);  // 226 and 334/441 counts each
    EXPECT_EQ(platform::ReadCounter(), 100'000u + 1);
    Event_t never;
    never.Create();
    EXPECT_EQ(never.Wait(platform::waitForever), 0xFFFFFFFFu) << "nothing can ever end this wait";
}

// A thread that only looks, and does not wait for time, must not end the host's wait.
TEST_F(ManualClock_t, AHostThatWaitsForEverOutlivesALookOfAThread) {
    Event_t never, done;
    never.Create();
    done.Create();
    body_t body = [&] {
        EXPECT_EQ(never.Wait(0), 258u);
        done.Set();
    };
    platform::Thread_t* thread = StartBody(body);
    EXPECT_EQ(done.Wait(platform::waitForever), 0u);
    EXPECT_TRUE(platform::JoinThread(thread, 1));
}

// Each millisecond moves the device by 44.1 frames; the tenths must add up. Stopped, it stays.
TEST_F(ManualClock_t, TheDevicePlaysWhileTheHostWaits) {
    DirSound_t device;
    OpenSecondary(device);
    PassMs(10);
    EXPECT_EQ(Play(10).size(), 0u) << "not started";
    device.StartPlaying();
    for (int i = 0; i < 10; ++i) PassMs(1);
    EXPECT_EQ(Play(0).size(), 441u);
    device.StopPlaying();
    EXPECT_EQ(Play(100).size(), 0u);
    device.StartPlaying();
    EXPECT_EQ(Play(100).size(), 100u);
    uint32_t playCursor = 0, writeCursor = 0;
    platform::ManualSettings().writeLeadBytes = 32000;
    ASSERT_EQ(device.buffer->GetCurrentPosition(&playCursor, &writeCursor), outputOk);
    EXPECT_EQ(playCursor, 541u * 4);
    EXPECT_EQ(writeCursor, 541u * 4 + 32000 - 32768);
}

// Where the cursor stands 10 milliseconds on, or later on a busy machine, and however often it has gone
// round: what the clock says before and after must agree.
TEST(RealTime, NullDeviceKeepsPaceAndStaysWhileStopped) {
    ASSERT_TRUE(platform::SelectOutput("null"));
    EXPECT_FALSE(platform::SelectOutput("loud"));
    DirSound_t device;
    OpenSecondary(device);
    const auto cursor = [&] {
        uint32_t play = 0, write = 0;
        EXPECT_EQ(device.buffer->GetCurrentPosition(&play, &write), outputOk);
        EXPECT_EQ(play, write);
        return play / 4;
    };
    constexpr double bufferFrames = 32768 / 4;
    const auto framesSince = [](uint64_t start) {
        return static_cast<double>(platform::ReadCounter() - start) * 44100 /
               static_cast<double>(platform::CounterFrequency());
    };
    Event_t never;
    never.Create();
    const uint64_t before = platform::ReadCounter();
    EXPECT_EQ(never.Wait(5), 258u);
    EXPECT_GE(framesSince(before), 220);
    EXPECT_EQ(cursor(), 0u);

    const uint64_t first = platform::ReadCounter();
    device.StartPlaying();
    const uint64_t last = platform::ReadCounter();
    while (framesSince(last) < 441) {}
    const double least = framesSince(last), at = cursor(), most = framesSince(first);
    const double rounds = std::floor((most - at) / bufferFrames);
    EXPECT_GE(at + rounds * bufferFrames + 1, least) << at << ", at most " << most;

    device.StopPlaying();
    const uint32_t stopped = cursor();
    EXPECT_EQ(never.Wait(2), 258u);
    EXPECT_EQ(cursor(), stopped);
    device.StartPlaying();
    while (cursor() == stopped) ASSERT_LT(framesSince(last), 60 * 44100) << "it does not go on";
}

cpu_set_t Processors() {
    cpu_set_t processors;
    EXPECT_EQ(sched_getaffinity(0, sizeof processors, &processors), 0);
    return processors;
}

// It comes to the caller's processor, wherever that is, unless it is there already; and may leave it then.
TEST(Threads, AreWokenWhereTheyAreCalled) {
    platform::SelectOutput("null");
    const cpu_set_t everywhere = Processors();
    if (CPU_COUNT(&everywhere) < 2) GTEST_SKIP() << "one processor only";
    Event_t call, answer;
    call.Create();
    answer.Create();
    cpu_set_t pulledTo;
    unsigned cameTo = 0;
    bool isOver = false;
    body_t body = [&] {
        while (call.Wait(platform::waitForever) == 0 && !isOver) {
            pulledTo = Processors();
            cameTo = static_cast<unsigned>(sched_getcpu());
            platform::NoteProcessor();
            answer.Set();
        }
    };
    platform::Thread_t* thread = StartBody(body);
    ASSERT_NE(thread, nullptr);
    unsigned pulls = 0;
    for (unsigned turn = 0; turn < 2 * CPU_SETSIZE; ++turn) {
        const unsigned here = turn % CPU_SETSIZE;
        if (!CPU_ISSET(here, &everywhere)) continue;
        cpu_set_t only;
        CPU_ZERO(&only);
        CPU_SET(here, &only);
        ASSERT_EQ(sched_setaffinity(0, sizeof only, &only), 0);
        {
            const platform::Pull_t pull(thread);
            call.Set();
            ASSERT_EQ(answer.Wait(10'000), 0u);
        }
        if (!CPU_EQUAL(&pulledTo, &everywhere)) {  // otherwise it was there
            ++pulls;
            EXPECT_EQ(cameTo, here);
        }
        call.Set();
        ASSERT_EQ(answer.Wait(10'000), 0u);
        EXPECT_TRUE(CPU_EQUAL(&pulledTo, &everywhere));
    }
    (void)sched_setaffinity(0, sizeof everywhere, &everywhere);
    EXPECT_GT(pulls, 0u);
    isOver = true;
    call.Set();
    EXPECT_TRUE(platform::JoinThread(thread, 10'000));
    const platform::Pull_t ofNobody(nullptr);
}

}  // namespace
