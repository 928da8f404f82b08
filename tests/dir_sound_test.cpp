// dir_sound_test.cpp - opening with every refusal, and the arithmetic of the device's cursors.
#include "output/dir_sound.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "engine_fixture.h"

namespace {

using settings_t = platform::manual_settings_t;
using lines_t = std::vector<std::string>;

constexpr uint32_t primaryLevel = 1u << DSSCL_WRITEPRIMARY, secondaryLevel = 1u << DSSCL_PRIORITY;
constexpr uint32_t firstBuffer = 1, secondBuffer = 2;

const lines_t emulationLines{"************\n",
                             "The sound device does not have a DirectSound driver installed,\n",
                             "so it is being emulated through the waveform-audio functions.\n",
                             "Performance degradation should be expected.\n", "************\n"};

const char cannotHave[] = "Cannot allocate primary buffer\n";
const char cannotHaveForFormat[] = "Cannot allocate primary buffer and set its output format\n";
const char cannotSet[] = "Cannot set 44100 Hz 16 bit stereo format to the primary buffer\n";
const char cannotSetForFormat[] = "Cannot set 44100 Hz 16 bit stereo format to primary buffer\n";
const char cannotHaveSecondary[] = "Cannot allocate secondary buffer\n";

const struct {
    const char* what;
    bool isPrimaryAsked;
    settings_t settings;
    uint32_t lastLevel, bufferBytes, buffers;  // bufferBytes 0: fails; buffers: alive while open
    lines_t lines;
} openings[] = {
    {"secondary", false, {}, 2, 32768, 2, {}},
    {"primary", true, {.primaryBufferBytes = 20000}, 4, 20000, 1, {}},
    {"no device", false, {.refuseCreate = true}, 0, 0, 0, {}},
    {"no device for primary", true, {.refuseCreate = true}, 0, 0, 0, {}},
    {"no level", false, {.refusedLevels = secondaryLevel}, 2, 0, 0, {}},
    {"no level at all", true, {.refusedLevels = primaryLevel | secondaryLevel}, 2, 0, 0, {}},
    {"no primary level", true, {.refusedLevels = primaryLevel}, 2, 32768, 2, {}},
    {"caps unreadable", false, {.refuseCaps = true}, 2, 32768, 2, {}},
    {"emulated", false, {.isEmulated = true}, 2, 32768, 2, emulationLines},
    {"primary, no buffer", true, {.refusedBufferCreations = firstBuffer}, 4, 0, 0, {cannotHave}},
    {"primary, no format", true, {.refuseFormat = true}, 4, 0, 0, {cannotSet}},
    {"primary, no caps", true, {.refuseBufferCaps = true}, 4, 0, 0, {cannotSet}},
    {"no buffer", false, {.refusedBufferCreations = firstBuffer}, 2, 0, 0, {cannotHaveSecondary}},
    {"no other", false, {.refusedBufferCreations = secondBuffer}, 2, 32768, 1, {cannotHaveForFormat}},
    {"no format", false, {.refuseFormat = true}, 2, 32768, 2, {cannotSetForFormat}},
};

using Opening_t = EngineFixture_t;

TEST_F(Opening_t, EveryRefusal) {
    for (const auto& row : openings) {
        SCOPED_TRACE(row.what);
        platform::ResetManualOutput();
        platform::ManualSettings() = row.settings;
        const platform::manual_counts_t& counts = platform::ManualCounts();
        const bool isOpen = row.bufferBytes != 0;
        int window = 0;
        DirSound_t*& device = AudioSystem::device;
        device = new DirSound_t;
        EXPECT_EQ(AudioSystem::OpenOutput(&window, row.isPrimaryAsked), isOpen);
        EXPECT_EQ(TakeDebugLines(), row.lines);
        EXPECT_EQ(device->emulated, row.settings.isEmulated || row.settings.refuseCaps);
        EXPECT_EQ(device->bufferDesc.bufferBytes, row.bufferBytes);
        EXPECT_EQ(counts.lastLevel, row.lastLevel);
        EXPECT_EQ(counts.window, row.lastLevel != 0 ? &window : nullptr);
        EXPECT_EQ(counts.devices, isOpen ? 1u : 0u) << "the refused device is kept";
        EXPECT_EQ(counts.buffers, row.buffers);
        delete device;
        device = nullptr;
        EXPECT_EQ(counts.devices + counts.buffers, 0u) << "leaked";
    }
}

TEST_F(Opening_t, NeverOpenedCanBeDeleted) { DirSound_t().Shutdown(); }

class Cursors_t : public EngineFixture_t {
  protected:
    // An open device, direct or emulated. A primary buffer takes its size from the settings.
    void Open(uint32_t bufferBytes, bool isEmulated) {
        device.reset();
        platform::ResetManualOutput();
        settings = {.primaryBufferBytes = bufferBytes, .isEmulated = isEmulated, .forceCursors = true};
        const WAVEFORMATEX format{1, 2, 44100, 176400, 4, 16, 0};
        device.emplace();
        ASSERT_TRUE(device->OpenForPrimary(nullptr));
        ASSERT_TRUE(device->CreatePrimaryBuffer({20, DSBCAPS_PRIMARYBUFFER, 0, 0, &format}));
        EXPECT_TRUE(device->StartPlaying());
        TakeDebugLines();
    }

    void TearDown() override {
        device.reset();
        EngineFixture_t::TearDown();
    }

    settings_t& settings = platform::ManualSettings();
    std::optional<DirSound_t> device;
};

TEST_F(Cursors_t, FreeAndQueuedBytes) {
    struct case_t {
        const char* what;
        bool isEmulated;
        uint32_t bufferBytes, lead, play, write, position;  // in
        uint32_t queued, free, positionAfter, jump;         // jump: the number of the line, 0 for none
    };
    const case_t cases[] = {
        {"ahead", false, 32768, 24400, 0, 1000, 20000, 19000, 5400, 20000, 0},
        {"overtaken", false, 32768, 24400, 0, 21000, 20000, 31768, 24400, 21000, 1000},
        {"on the anchor", false, 32768, 8240, 0, 500, 500, 0, 8240, 500, 0},
        {"at the lead", false, 32768, 8240, 0, 500, 8740, 8240, 0, 8740, 0},
        {"a frame past the lead", false, 32768, 8240, 0, 500, 8744, 8244, 8240, 500, 24524},
        {"target wraps", false, 32768, 8240, 0, 30000, 32000, 2000, 6240, 32000, 0},
        {"position has wrapped", false, 32768, 8240, 0, 32000, 232, 1000, 7240, 232, 0},
        {"jump wraps", false, 32768, 8240, 0, 32764, 32760, 32764, 8240, 32764, 4},
        {"emulated, from 10000", true, 32768, 22256, 0, 7777, 15000, 5000, 17256, 15000, 0},
        {"emulated, anchor wraps", true, 32768, 22256, 30000, 7777, 10000, 2768, 19488, 10000, 0},
        {"emulated, overtaken", true, 32768, 22256, 30000, 0, 7000, 32536, 22256, 7232, 232},
        {"emulated, small", true, 10600, 96, 10000, 0, 9448, 48, 48, 9448, 0},
        {"emulated, wraps twice", true, 4800, 96, 4700, 0, 348, 48, 48, 348, 0},
    };
    for (const case_t& row : cases) {
        SCOPED_TRACE(row.what);
        Open(row.bufferBytes, row.isEmulated);
        settings.forcedPlayCursor = row.play;
        settings.forcedWriteCursor = row.write;
        device->leadBytes = row.lead;
        device->writePosition = row.position;
        EXPECT_EQ(device->GetQueuedBytes(), row.queued);
        EXPECT_EQ(device->writePosition, row.position);
        EXPECT_EQ(device->GetFreeBytes(), row.free);
        EXPECT_EQ(device->writePosition, row.positionAfter);
        const lines_t jumpLine{"Primary buffer jump ... " + std::to_string(row.jump) + "\n"};
        EXPECT_EQ(TakeDebugLines(), row.jump ? jumpLine : lines_t{});
    }
}

// What each of the three does about a device that refuses, and about a buffer that is lost: how it answers,
// what it has tried, whether the device plays on.
TEST_F(Cursors_t, TroubleWithTheDevice) {
    struct case_t {
        const char* what;
        settings_t settings;
        bool isLost;
        uint32_t free, queued, written;  // of 4
        bool playsAfterFree;
        uint32_t restores, locks;  // of one call; locks of a write
    };
    const case_t cases[] = {
        {"none", {}, false, 7840, 400, 4, true, 0, 1},
        {"no status", {.refuseStatus = true}, false, 0, 0, 4, true, 0, 1},
        {"no position", {.refusePosition = true}, false, 0, 0, 4, true, 0, 1},
        {"no lock", {.refuseLock = true}, false, 7840, 400, 0, true, 0, 1},
        {"no unlock", {.refuseUnlock = true}, false, 7840, 400, 0, true, 0, 1},
        {"lost", {}, true, 7840, 400, 4, true, 1, 2},
        {"lost for good", {.refuseRestore = true}, true, 0, 0, 0, false, 1, 2},
    };
    const platform::manual_counts_t& counts = platform::ManualCounts();
    for (const case_t& row : cases) {
        SCOPED_TRACE(row.what);
        const auto begin = [&] {
            Open(32768, false);
            device->leadBytes = 8240;
            device->writePosition = 400;
            if (row.isLost) platform::LoseManualBuffer();
            settings = row.settings;
        };
        begin();
        EXPECT_EQ(device->GetFreeBytes(), row.free);
        EXPECT_EQ(platform::ManualOutputIsPlaying(), row.playsAfterFree);
        EXPECT_EQ(counts.restores, row.restores);
        begin();
        EXPECT_EQ(device->GetQueuedBytes(), row.queued);
        EXPECT_NE(platform::ManualOutputIsPlaying(), row.isLost);
        EXPECT_EQ(counts.restores, row.restores);
        begin();
        EXPECT_EQ(device->WriteBytes("abcd", 4), row.written == 4);
        EXPECT_EQ(device->writePosition, 400 + row.written);
        EXPECT_NE(platform::ManualOutputIsPlaying(), row.isLost);
        EXPECT_EQ(counts.restores, row.restores);
        EXPECT_EQ(counts.locks, row.locks);
    }
}

}  // namespace
