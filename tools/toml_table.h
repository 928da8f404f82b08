// toml_table.h - typed reading of one table of a scene file, with the line of whatever is wrong in it.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "tools/scene.h"
#include "tools/toml_library.h"

namespace tools {

// Reads a value; the result says what it ought to have been, null if it was that.
const char* TakeValue(const toml::node& node, double& value);
const char* TakeValue(const toml::node& node, float& value);
const char* TakeValue(const toml::node& node, bool& value);
const char* TakeValue(const toml::node& node, uint32_t& value);
const char* TakeValue(const toml::node& node, int32_t& value);
const char* TakeValue(const toml::node& node, std::string& value);
const char* TakeValue(const toml::node& node, std::vector<located_t<std::string>>& value);
const char* TakeValue(const toml::node& node, std::array<float, 2>& value);
const char* TakeValue(const toml::node& node, action_t& value);
const char* TakeValue(const toml::node& node, store_t& value);
const char* TakeValue(const toml::node& node, loader_mode_t& value);

// from, to, then that many numbers.
const char* TakeSlide(const toml::node& node, size_t numbers, scene_slide_t& value);

inline uint32_t LineOf(const toml::node& node) { return static_cast<uint32_t>(node.source().begin.line); }

// The first failure is the one that is kept: `problem` is shared by all tables of a scene.
class TomlTable_t {
  public:
    TomlTable_t(const scene_t& scene, const toml::table& table, outcome_t& problem)
        : owner(scene), source(table), trouble(problem) {}

    template <typename T>
    void Read(std::string_view key, setting_t<T>& setting) {
        ReadWith(key, [&](const toml::node& node) {
            return TakeValue(node, setting.emplace(located_t<T>{{}, LineOf(node)}).value);
        });
    }
    template <typename T>
    void Read(std::string_view key, T& value) {
        ReadWith(key, [&](const toml::node& node) { return TakeValue(node, value); });
    }
    template <typename T>
    void Require(std::string_view key, setting_t<T>& setting) {
        if (source.get(key) == nullptr) Fail(LineOf(source), std::string(key) + " is missing");
        Read(key, setting);
    }
    void ReadSlide(std::string_view key, size_t numbers, setting_t<scene_slide_t>& setting);
    // The tables of [[key]].
    std::vector<const toml::table*> Tables(std::string_view key);
    // The same, or the one table [key].
    std::vector<const toml::table*> OneOrMoreTables(std::string_view key);
    // The table [key]; null if it does not stand there.
    const toml::table* Table(std::string_view key);
    // Fails for a key that nobody has asked for.
    void Finish();

    void Fail(uint32_t line, std::string reason);

  private:
    template <typename Taker>
    void ReadWith(std::string_view key, const Taker& take) {
        known.emplace_back(key);
        const toml::node* node = source.get(key);
        if (node == nullptr) return;
        if (const char* wanted = take(*node)) Fail(LineOf(*node), std::string(key) + " must be " + wanted);
    }

    const scene_t& owner;
    const toml::table& source;
    outcome_t& trouble;
    std::vector<std::string_view> known;
};

}  // namespace tools
