// scene_sounds.h - the sounds of a scene: what events call them, and how they get into the engine.
#pragma once

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tools/scene.h"

class Sound_t;

namespace tools {

class SceneSounds_t {
  public:
    explicit SceneSounds_t(const scene_t& ownerScene) : scene(ownerScene) {}
    SceneSounds_t(const SceneSounds_t&) = delete;
    SceneSounds_t& operator=(const SceneSounds_t&) = delete;
    ~SceneSounds_t();  // removes what was imported

    // Finds each sound's name. Of sound files it reads no more than the headers; archives are read whole and
    // checked, but not kept.
    outcome_t Resolve();
    const std::set<std::string>& Names() const { return names; }

    // Imports what is no sound file of the engine into a temporary folder. Before the engine starts.
    outcome_t Import();

    // Loads all into the running engine.
    outcome_t Load();
    Sound_t* Find(const std::string& name) const { return loaded.at(name); }
    const std::map<std::string, Sound_t*>& Loaded() const { return loaded; }  // by the scene's name

  private:
    struct entry_t {
        const scene_sound_t* source;
        std::filesystem::path path;  // what the engine loads
        std::string name;            // what the scene calls it
        std::string internalName;    // what the engine calls it
        bool isImported = false;
    };

    struct archive_entry_t {
        const scene_archive_t* source;
        std::filesystem::path path;
        std::string name;  // what the engine calls it
        std::vector<std::string> soundNames;
    };

    static std::string ArchiveOf(const setting_t<std::string>& name);
    outcome_t AddArchive(const scene_archive_t& archive);
    outcome_t AddEntry(const scene_sound_t& sound);
    outcome_t InScene(const scene_sound_t& sound, const outcome_t& trouble) const;
    outcome_t AddName(const std::string& name, uint32_t line);
    outcome_t CheckInternalNames();
    outcome_t MakeFolder();
    outcome_t LoadArchive(const archive_entry_t& archive);

    const scene_t& scene;
    std::vector<archive_entry_t> archives;  // loaded before the sounds, which may go into one of them
    std::vector<entry_t> entries;           // in file order
    std::set<std::string> names;            // the scene's
    std::map<std::string, Sound_t*> loaded;
    std::filesystem::path folder;
};

}  // namespace tools
