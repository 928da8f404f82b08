// toml_table.cpp - types are checked, ranges only where a C++ type could not hold the value.
#include "tools/toml_table.h"

#include <limits>

namespace tools {

namespace {

constexpr char aNumber[] = "a number";
constexpr char aPosition[] = "a whole number from 0 to 4294967295";

template <typename T>
const char* TakeInteger(const toml::node& node, T& value, const char* wanted) {
    const auto* integer = node.as_integer();
    if (integer == nullptr || integer->get() < std::numeric_limits<T>::min() ||
        integer->get() > std::numeric_limits<T>::max()) {
        return wanted;
    }
    value = static_cast<T>(integer->get());
    return nullptr;
}

template <typename T>
struct named_value_t {
    std::string_view name;
    T value;
};

constexpr named_value_t<action_t> actionNames[] = {{"play", action_t::play},
                                                   {"stop", action_t::stop},
                                                   {"reset", action_t::reset},
                                                   {"free", action_t::free},
                                                   {"one-shot", action_t::oneShot}};
constexpr named_value_t<store_t> storeNames[] = {{"pcm", store_t::pcm},
                                                 {"adpcm", store_t::adpcm},
                                                 {"stream", store_t::stream},
                                                 {"adpcm-stream", store_t::adpcmStream}};
constexpr named_value_t<loader_mode_t> loaderNames[] = {{"each-frame", loader_mode_t::eachFrame},
                                                        {"thread", loader_mode_t::thread},
                                                        {"delayed", loader_mode_t::delayed}};

template <typename T, size_t count>
const char* TakeNamed(const toml::node& node, const named_value_t<T> (&names)[count], T& value,
                      const char* wanted) {
    const auto* text = node.as_string();
    for (const named_value_t<T>& entry : names) {
        if (text == nullptr || entry.name != text->get()) continue;
        value = entry.value;
        return nullptr;
    }
    return wanted;
}

}  // namespace

const char* TakeValue(const toml::node& node, double& value) {
    if (const auto* number = node.as_floating_point()) {
        value = number->get();
    } else if (const auto* integer = node.as_integer()) {
        value = static_cast<double>(integer->get());
    } else {
        return aNumber;
    }
    return nullptr;
}

const char* TakeValue(const toml::node& node, float& value) {
    double number = 0.0;
    const char* wanted = TakeValue(node, number);
    if (wanted == nullptr) value = static_cast<float>(number);
    return wanted;
}

const char* TakeValue(const toml::node& node, bool& value) {
    const auto* boolean = node.as_boolean();
    if (boolean == nullptr) return "true or false";
    value = boolean->get();
    return nullptr;
}

const char* TakeValue(const toml::node& node, uint32_t& value) { return TakeInteger(node, value, aPosition); }

const char* TakeValue(const toml::node& node, int32_t& value) {
    return TakeInteger(node, value, "a whole number from -2147483648 to 2147483647");
}

const char* TakeValue(const toml::node& node, std::string& value) {
    const auto* text = node.as_string();
    if (text == nullptr) return "a text";
    value = text->get();
    return nullptr;
}

const char* TakeValue(const toml::node& node, std::vector<located_t<std::string>>& value) {
    const char* wanted = "a list of names";
    const auto* list = node.as_array();
    if (list == nullptr) return wanted;
    for (const toml::node& entry : *list) {
        if (TakeValue(entry, value.emplace_back(located_t<std::string>{{}, LineOf(entry)}).value))
            return wanted;
    }
    return nullptr;
}

const char* TakeValue(const toml::node& node, std::array<float, 2>& value) {
    const char* wanted = "a list of two numbers";
    const auto* list = node.as_array();
    if (list == nullptr || list->size() != 2) return wanted;
    return TakeValue((*list)[0], value[0]) || TakeValue((*list)[1], value[1]) ? wanted : nullptr;
}

const char* TakeValue(const toml::node& node, action_t& value) {
    return TakeNamed(node, actionNames, value, "\"play\", \"stop\", \"reset\", \"free\" or \"one-shot\"");
}

const char* TakeValue(const toml::node& node, store_t& value) {
    return TakeNamed(node, storeNames, value, "\"pcm\", \"adpcm\", \"stream\" or \"adpcm-stream\"");
}

const char* TakeValue(const toml::node& node, loader_mode_t& value) {
    return TakeNamed(node, loaderNames, value, "\"each-frame\", \"thread\" or \"delayed\"");
}

const char* TakeSlide(const toml::node& node, size_t numbers, scene_slide_t& value) {
    const char* wanted =
        numbers == 2 ? "a list of two positions and two numbers" : "a list of two positions and four numbers";
    const auto* list = node.as_array();
    if (list == nullptr || list->size() != 2 + numbers) return wanted;
    if (TakeValue((*list)[0], value.from) || TakeValue((*list)[1], value.to)) return wanted;
    for (size_t i = 0; i < numbers; ++i) {
        if (TakeValue((*list)[2 + i], value.values[i])) return wanted;
    }
    return nullptr;
}

void TomlTable_t::ReadSlide(std::string_view key, size_t numbers, setting_t<scene_slide_t>& setting) {
    ReadWith(key, [&](const toml::node& node) {
        return TakeSlide(node, numbers, setting.emplace(located_t<scene_slide_t>{{}, LineOf(node)}).value);
    });
}

std::vector<const toml::table*> TomlTable_t::Tables(std::string_view key) {
    std::vector<const toml::table*> tables;
    ReadWith(key, [&](const toml::node& node) -> const char* {
        const auto* list = node.as_array();
        if (list != nullptr) {
            for (const toml::node& entry : *list) tables.push_back(entry.as_table());
        }
        const bool isGood =
            list != nullptr && std::find(tables.begin(), tables.end(), nullptr) == tables.end();
        if (!isGood) tables.clear();
        return isGood ? nullptr : "a list of tables";
    });
    return tables;
}

std::vector<const toml::table*> TomlTable_t::OneOrMoreTables(std::string_view key) {
    const toml::node* node = source.get(key);
    if (node == nullptr || !node->is_table()) return Tables(key);
    return {Table(key)};
}

const toml::table* TomlTable_t::Table(std::string_view key) {
    const toml::table* table = nullptr;
    ReadWith(key, [&](const toml::node& node) { return (table = node.as_table()) ? nullptr : "a table"; });
    return table;
}

void TomlTable_t::Finish() {
    for (const auto& [key, node] : source) {
        if (std::find(known.begin(), known.end(), key.str()) == known.end()) {
            Fail(static_cast<uint32_t>(key.source().begin.line), "unknown key " + std::string(key.str()));
        }
    }
}

void TomlTable_t::Fail(uint32_t line, std::string reason) {
    if (trouble) trouble = Failure(owner.At(line), std::move(reason));
}

}  // namespace tools
