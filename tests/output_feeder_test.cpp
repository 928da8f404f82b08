// output_feeder_test.cpp - the ring and its feeder against invented devices, in invented time: what is heard,
// how the cursors move, and how devices that fail in all the known ways come back.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <deque>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "platform/output_feeder.h"

namespace {

using platform::OutputFeeder_t;
using platform::PlayRing_t;

constexpr int64_t nsPerMs = 1'000'000;
constexpr uint32_t loopFrames = 8192;

enum class fault_t { none, killed, recoversForEver, frozen, unplugged, tellsNothing };

// Consumes in blocks, at a rate of its own; keeps what was heard, silence where it had nothing.
class FakePcm_t final : public platform::PcmStream_t {
  public:
    FakePcm_t(const int64_t& clockNs, uint32_t blockFrames, double rate)
        : nowNs(clockNs), block(blockFrames), rateHz(rate) {}

    int Open(platform::pcm_setup_t& setup) override {
        openTimesNs.push_back(nowNs);
        if (fault != fault_t::none) return -ECONNREFUSED;
        setup.bufferFrames = 22'050;
        setup.periodFrames = block;
        Empty();
        return 0;
    }
    void Close() override { Empty(); }
    long QueuedFrames() override {
        if (fault == fault_t::killed || fault == fault_t::recoversForEver) return -EPIPE;
        if (fault == fault_t::unplugged) return -ENODEV;
        if (ranDry && tellsUnderrun) return -EPIPE;
        return static_cast<long>(queue.size());
    }
    long DelayFrames() override { return static_cast<long>(queue.size()) + 100; }
    long Write(const uint8_t* bytes, uint32_t frames) override {
        if (fault != fault_t::none && fault != fault_t::frozen && fault != fault_t::tellsNothing)
            return -EPIPE;
        const auto room = static_cast<uint32_t>(22'050 - queue.size());
        for (uint32_t i = 0; i < std::min(frames, room); ++i) {
            uint32_t word;
            std::memcpy(&word, bytes + std::size_t{i} * 4, 4);
            queue.push_back(word);
        }
        if (!isRunning) lastNs = nowNs;
        isRunning = true;
        return std::min(frames, room);
    }
    int Recover(int) override {
        ++recoveries;
        if (fault == fault_t::killed || fault == fault_t::unplugged) return -EIO;
        Empty();
        return 0;
    }
    int Restart() override {
        Empty();
        return 0;
    }
    const char* ErrorText(int) override { return "an invented error"; }

    // Up to now.
    void Consume() {
        if (!isRunning || fault != fault_t::none) return;
        const double blockNs = block * 1e9 / rateHz;
        for (; static_cast<double>(nowNs - lastNs) >= blockNs; lastNs += static_cast<int64_t>(blockNs)) {
            for (uint32_t i = 0; i < block; ++i) {
                const bool isDry = queue.empty();
                ranDry |= isDry;
                heard.push_back(isDry ? 0 : queue.front());
                if (!isDry) queue.pop_front();
            }
        }
    }

    fault_t fault = fault_t::none;
    bool tellsUnderrun = false;
    std::vector<uint32_t> heard;
    std::vector<int64_t> openTimesNs;
    int recoveries = 0;

  private:
    void Empty() {
        queue.clear();
        isRunning = ranDry = false;
    }

    const int64_t& nowNs;
    const uint32_t block;
    const double rateHz;
    std::deque<uint32_t> queue;
    bool isRunning = false, ranDry = false;
    int64_t lastNs = 0;
};

// An engine that writes the numbers 1, 2, 3 ..., one a frame, 138 ms ahead of the write cursor, and looks at
// the cursor every millisecond.
class Feeding_t : public testing::Test {
  protected:
    static constexpr uint32_t aheadFrames = 6100;

    // From nothing, whatever was before.
    void Begin(uint32_t block, double rateHz, uint32_t leadFrames, int64_t openNs = 0) {
        std::fill(memory.begin(), memory.end(), uint8_t{0xAA});
        ring = PlayRing_t(memory);
        written = cursorFrames = lastCursor = largestMove = 0;
        pcm.emplace(nowNs, block, rateHz);
        feeder.emplace(heard, *pcm, leadFrames, platform::thread_priority_t::ordinary);
        ASSERT_TRUE(feeder->Open(nowNs));
        nowNs += openNs;
        Write();
        ring.Play(nowNs);
        heard.ring = &ring;
        nextStepNs = nowNs;
    }

    // Lets time pass; the feeder is late each time by what `lateness` says.
    template <typename Lateness>
    void Run(int64_t ms, Lateness lateness) {
        for (const int64_t endNs = nowNs + ms * nsPerMs; nowNs < endNs;) {
            nowNs += nsPerMs / 4;
            pcm->Consume();
            if (nowNs >= nextStepNs) nextStepNs = nowNs + feeder->Step(nowNs) + lateness();
            if (nowNs % nsPerMs == 0) Write();
        }
    }
    void Run(int64_t ms) {
        Run(ms, [] { return 0; });
    }

    void Write() {
        const uint32_t cursor = ring.WriteCursor(nowNs) / 4;
        const uint32_t moved = (cursor + loopFrames - lastCursor) % loopFrames;
        largestMove = std::max(largestMove, moved);
        cursorFrames += moved;
        lastCursor = cursor;
        ASSERT_GE(aheadFrames + 100, moved) << "the cursor has jumped";
        if (!isWriting) return;
        const uint32_t offset = static_cast<uint32_t>(written % loopFrames);
        uint32_t count = 0;
        for (; written < cursorFrames + aheadFrames; ++written, ++count) {
            const auto number = static_cast<uint32_t>(written + 1);
            std::memcpy(memory.data() + written % loopFrames * 4, &number, 4);
        }
        if (count > 0) ring.Written(nowNs, offset * 4, count * 4);
    }

    // The numbers in what was heard, and how many frames of silence stand between the first and the last.
    std::vector<uint32_t> Numbers(size_t* silence = nullptr) const {
        std::vector<uint32_t> numbers;
        size_t gap = 0, all = 0;
        for (const uint32_t number : pcm->heard) {
            if (number == 0) {
                ++gap;
            } else {
                if (!numbers.empty()) all += gap;
                gap = 0;
                numbers.push_back(number);
            }
        }
        if (silence) *silence = all;
        return numbers;
    }

    // None repeated.
    static void ExpectInOrder(const std::vector<uint32_t>& numbers) {
        EXPECT_EQ(std::ranges::adjacent_find(numbers, std::greater_equal()), numbers.end());
    }
    // None lost, either.
    static void ExpectUnbroken(const std::vector<uint32_t>& numbers) {
        for (size_t i = 0; i < numbers.size(); ++i) ASSERT_EQ(numbers[i], i + 1);
    }

    int64_t nowNs = 0, nextStepNs = 0;
    std::vector<uint8_t> memory = std::vector<uint8_t>(loopFrames * 4);
    PlayRing_t ring{memory};
    platform::heard_ring_t heard;
    std::optional<FakePcm_t> pcm;
    std::optional<OutputFeeder_t> feeder;
    bool isWriting = true;
    uint64_t written = 0, cursorFrames = 0;
    uint32_t lastCursor = 0, largestMove = 0;
};

TEST_F(Feeding_t, IsUnbrokenAndSmoothWhateverTheDevicesClock) {
    const struct {
        uint32_t block;
        double rateHz;
        uint32_t lead;
        int64_t latestNs;  // how late the feeder may come
    } devices[] = {
        {1, 44100, 441, 0},
        {64, 44120, 441, nsPerMs},
        {220, 44080, 882, 3 * nsPerMs},
        {220, 44144, 1764, 15 * nsPerMs},
        {441, 44056, 1764, 15 * nsPerMs},
        {1024, 44100, 4410, 20 * nsPerMs},
    };
    constexpr int64_t seconds = 8;
    for (const auto& row : devices) {
        SCOPED_TRACE(testing::Message() << row.block << " frames at " << row.rateHz << ", lead " << row.lead);
        std::mt19937 random(5);
        Begin(row.block, row.rateHz, row.lead);
        Run(seconds * 1000, [&] { return row.latestNs ? static_cast<int64_t>(random()) % row.latestNs : 0; });
        size_t silence = 0;
        const std::vector<uint32_t> numbers = Numbers(&silence);
        EXPECT_GT(numbers.size(), (seconds - 0.5) * 44100);
        ExpectUnbroken(numbers);
        EXPECT_EQ(silence, 0u);
        EXPECT_EQ(feeder->Status().underruns, 0u);
        EXPECT_LE(largestMove, 48u) << "of 44 frames a millisecond";
        EXPECT_NEAR(static_cast<double>(cursorFrames), seconds * row.rateHz, 300 + row.block)
            << "follows the device's clock";
        // The start of what is written now is heard when the lead, and what the device has taken, has gone
        // by.
        EXPECT_LE(cursorFrames - numbers.back(), row.lead + row.block + 20 * 45u);
    }
}

// A stop and a start between two steps of the feeder; long ones; all of it is heard, once.
TEST_F(Feeding_t, StopsLoseNothing) {
    Begin(220, 44100, 882);
    std::mt19937 random(6);
    for (int i = 0; i < 200; ++i) {
        Run(static_cast<int64_t>(random() % 30));
        ring.Stop(nowNs);
        const uint32_t stood = ring.WriteCursor(nowNs);
        Run(i % 3 ? static_cast<int64_t>(random() % 5) : 100);
        ASSERT_EQ(ring.WriteCursor(nowNs), stood);
        ring.Play(nowNs);
    }
    Run(100);
    size_t silence = 0;
    const std::vector<uint32_t> numbers = Numbers(&silence);
    ExpectUnbroken(numbers);
    EXPECT_GT(numbers.size(), 100'000u);
    EXPECT_GT(silence, 100'000u);
    EXPECT_EQ(feeder->Status().underruns, 0u);
}

// A feeder that the device keeps waiting steers by the time at which it came: a cursor that went back by one
// frame would be taken for a device that has overtaken what was written.
TEST(PlayRing, CursorsNeverGoBack) {
    std::vector<uint8_t> memory(loopFrames * 4);
    PlayRing_t ring(memory);
    ring.Play(0);
    uint32_t write = 0, play = 0;
    for (int64_t ms = 10; ms < 150; ms += 10) {
        const uint32_t nextWrite = ring.WriteCursor(ms * nsPerMs), nextPlay = ring.PlayCursor(ms * nsPerMs);
        EXPECT_GE(nextWrite, write);
        EXPECT_GE(nextPlay, play);
        ring.SetLatency(ms % 20 ? 1000 : 100);
        ring.Steer((ms - 9) * nsPerMs, ms % 20 ? 1e6 : -1e6);
        write = ring.WriteCursor(ms * nsPerMs);
        play = ring.PlayCursor(ms * nsPerMs);
        EXPECT_GE(write, nextWrite) << "at " << ms << " ms";
        EXPECT_GE(play, nextPlay);
    }
}

// The memory goes round and round, and only silence is heard of it.
TEST_F(Feeding_t, IsSilentPastWhatWasWritten) {
    Begin(220, 44100, 882);
    Run(1000);
    isWriting = false;
    Run(1000);
    const size_t soFar = pcm->heard.size();
    ExpectUnbroken(Numbers());
    EXPECT_EQ(Numbers().size(), written);
    Run(1000);
    EXPECT_EQ(Numbers().size(), written);
    EXPECT_GT(pcm->heard.size(), soFar + 40'000);
    written = cursorFrames;  // goes on at the cursor
    isWriting = true;
    Run(500);
    const std::vector<uint32_t> numbers = Numbers();
    EXPECT_GT(numbers.size(), 60'000u);
    ExpectInOrder(numbers);
}

// The feeder itself does not come for a while: what the device missed is gone, time goes on, and the lead has
// grown.
TEST_F(Feeding_t, GrowsItsLeadWhenTheDeviceRunsDry) {
    for (const bool tells : {false, true}) {
        SCOPED_TRACE(tells);
        Begin(64, 44100, 882);
        pcm->tellsUnderrun = tells;
        Run(1000);
        nextStepNs += 60 * nsPerMs;
        Run(1000);
        size_t silence = 0;
        const std::vector<uint32_t> numbers = Numbers(&silence);
        ExpectInOrder(numbers);
        EXPECT_EQ(feeder->Status().underruns, 1u);
        EXPECT_EQ(feeder->Status().losses, 0u);
        EXPECT_GT(silence, 1000u);
        EXPECT_LT(silence, 60u * 45 + 1764);
        EXPECT_EQ(feeder->Status().leadFrames, 1764u);
        EXPECT_NEAR(static_cast<double>(cursorFrames), 2 * 44100, 500);
        for (int i = 0; i < 5; ++i) {
            nextStepNs += 400 * nsPerMs;
            Run(1000);
        }
        EXPECT_EQ(feeder->Status().leadFrames, OutputFeeder_t::leadLimitFrames);
        EXPECT_GT(Numbers().back(), cursorFrames - 10'000) << "and it still plays what is new";
    }
}

// A device that takes what it needs in steps longer than the lead may run dry without a word.
TEST_F(Feeding_t, GrowsItsLeadForAnUnevenDevice) {
    Begin(64, 44100, 441);
    Run(500);
    pcm->fault = fault_t::tellsNothing;
    Run(14);
    pcm->fault = fault_t::none;
    Run(3000);
    EXPECT_EQ(feeder->Status().leadFrames, 882u);
    EXPECT_EQ(feeder->Status().underruns, 0u);
    ExpectUnbroken(Numbers());
}

TEST_F(Feeding_t, TimeGoesOnAndSoundComesBackWhenTheDeviceDoes) {
    const struct {
        const char* name;
        fault_t fault;
        int64_t ms;  // that it lasts
        uint32_t losses;
    } losses[] = {
        {"server killed", fault_t::killed, 2200, 1},
        {"recovery reports success for ever", fault_t::recoversForEver, 2200, 1},
        {"frozen", fault_t::frozen, 3000, 1},
        {"unplugged", fault_t::unplugged, 300, 1},
        {"stumbles without a word", fault_t::tellsNothing, 250, 0},
    };
    for (const auto& row : losses) {
        SCOPED_TRACE(row.name);
        Begin(220, 44100, 882);
        Run(1000);
        const uint64_t before = cursorFrames;
        pcm->fault = row.fault;
        Run(row.ms);
        EXPECT_NEAR(static_cast<double>(cursorFrames - before), static_cast<double>(row.ms) * 44.1,
                    static_cast<double>(std::min<int64_t>(row.ms, 600)) * 44.1 * 0.055 + 20)
            << "at the clock's pace, but for what an overfull device slows it down";
        EXPECT_LE(pcm->recoveries, 10);
        pcm->fault = fault_t::none;
        const size_t heardBefore = pcm->heard.size();
        Run(600);
        const auto back = std::find_if(pcm->heard.begin() + static_cast<std::ptrdiff_t>(heardBefore),
                                       pcm->heard.end(), [](uint32_t number) { return number != 0; });
        ASSERT_NE(back, pcm->heard.end()) << "within 600 ms";
        Run(2000);
        EXPECT_EQ(feeder->Status().losses, row.losses);
        EXPECT_TRUE(feeder->Status().isOpen);
        EXPECT_LE(largestMove, 48u);
        const std::vector<uint32_t> numbers = Numbers();
        ExpectInOrder(numbers);
        EXPECT_LE(cursorFrames - numbers.back(), 4 * 882 + 500u) << "and is not late from then on";
        for (size_t i = 1; i + 1 < pcm->openTimesNs.size(); ++i)
            EXPECT_GE(pcm->openTimesNs[i + 1] - pcm->openTimesNs[i], 499 * nsPerMs);
    }
}

// Some sleep, some are far away: time that opening takes is not time in which a device does not move.
TEST_F(Feeding_t, ADeviceMayTakeItsTimeToOpen) {
    Begin(220, 44100, 882, 3000 * nsPerMs);
    Run(1000);
    EXPECT_EQ(feeder->Status().losses, 0u);
    EXPECT_EQ(pcm->openTimesNs.size(), 1u);
    ExpectUnbroken(Numbers());
    EXPECT_GT(Numbers().size(), 40'000u);
}

TEST_F(Feeding_t, NoDeviceAtFirst) {
    pcm.emplace(nowNs, 220, 44100);
    pcm->fault = fault_t::killed;
    feeder.emplace(heard, *pcm, 882, platform::thread_priority_t::ordinary);
    EXPECT_FALSE(feeder->Open(nowNs));
    EXPECT_FALSE(feeder->Status().isOpen);
}

}  // namespace
