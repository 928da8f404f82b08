// scene.cpp - any bytes as a scene file. One that is read is scheduled and checked, too; a failure names its
// subject and its reason.
#include "tools/scene.h"
#include "fuzz/fuzz_input.h"
#include "fuzz/targets.h"
#include "tools/scene_schedule.h"

int FuzzScene(const uint8_t* data, std::size_t size) {
    if (size > 1u << 16) return 0;
    tools::scene_t scene;
    const tools::outcome_t read = tools::ReadScene(fuzz::WriteScratch("scene.toml", data, size), scene);
    FUZZ_REQUIRE(read || (!read.subject.empty() && !read.reason.empty()));
    if (!read) return 0;
    FUZZ_REQUIRE(scene.frameRate > 0.0 && scene.frameRate <= tools::maxFrameRate);
    std::set<std::string> names;
    for (const tools::scene_sound_t& sound : scene.sounds) {
        if (sound.name) names.insert(sound.name->value);
    }
    FUZZ_REQUIRE(tools::ScheduleEvents(scene).size() == scene.events.size());
    const tools::outcome_t checked = tools::CheckEvents(scene, names);
    FUZZ_REQUIRE(checked || !checked.reason.empty());
    return 0;
}
