// sound_classes.cpp - see the header.
#include "sound_classes.h"

#include <string>

namespace tools {

namespace {

constexpr sound_class_t soundClasses[] = {{"sn", "SimpleSound", false, false},
                                          {"isn", "IMA_ADPCM_Sound", true, false},
                                          {"ssn", "StreamSound", false, true},
                                          {"iss", "IMA_ADPCM_StreamSound", true, true}};

}  // namespace

const sound_class_t* FindSoundClass(std::string_view tag) {
    for (const sound_class_t& soundClass : soundClasses) {
        if (tag == soundClass.tag) return &soundClass;
    }
    return nullptr;
}

const sound_class_t* SoundClassOf(const std::filesystem::path& path) {
    const std::string extension = path.extension().string();
    return extension.empty() ? nullptr : FindSoundClass(std::string_view(extension).substr(1));
}

}  // namespace tools
