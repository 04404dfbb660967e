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

void FileUserDefaults::set(const std::string& key, const json& value) {
    file->change([&](json& object) {
        object[key] = value;
        return true;
    });
}

void FileUserDefaults::remove(const std::string& key) {
    if (!value(key)) // where there is no store yet, none is made
        return;
    file->change([&](json& object) { return object.erase(key) > 0; });
}

} // namespace halvo
