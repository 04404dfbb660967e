#include <Platform/UserDefaults.h>

#include "LockedJSONFile.h"

#include <nlohmann/json.hpp>

namespace halvo {

using nlohmann::json;

FileUserDefaults::FileUserDefaults(const std::filesystem::path& file, const Clock& clock, WarningHandler warn)
    : file(std::make_unique<const LockedJSONFile>(file, clock, std::move(warn))) {}

FileUserDefaults::~FileUserDefaults() = default;

std::optional<json> FileUserDefaults::value(const std::string& key) {
    json object = file->read();
    const auto entry = object.find(key);
    if (entry == object.end())
        return std::nullopt;
    return std::move(*entry);
}

void FileUserDefaults::change(const std::string& key, const Edit& edit) {
    file->change([&](json& object) {
        json value = object.value(key, json());
        edit(value);
        if (value.is_null())
            return object.erase(key) > 0;
        object[key] = std::move(value);
        return true;
    });
}

void UserDefaults::set(const std::string& key, const json& value) {
    change(key, [&](json& held) { held = value; });
}

void UserDefaults::remove(const std::string& key) {
    if (value(key)) // where there is no store yet, none is made
        change(key, [](json& held) { held = nullptr; });
}

} // namespace halvo
