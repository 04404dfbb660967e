#pragma once

#include <Base/Date.h>
#include <Base/URL.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <nlohmann/json_fwd.hpp>

namespace halvo {

/// One release in an update feed.
struct AppcastItem {
    std::string title{};
    Date pubDate{}; ///< a feed keeps whole seconds
    /// Markdown in an item that is to be written; in an item that was read, the HTML that the feed holds.
    std::string releaseNotes{};
    URL enclosureURL{};               ///< in an item that was read: without its query
    std::int64_t enclosureLength = 0; ///< bytes
    std::int64_t version = 0;         ///< the build number, which is what clients compare
    std::string shortVersionString{};
    std::string minimumSystemVersion{};
    std::string edSignature{};            ///< base64 of the 64 bytes
    std::optional<std::string> channel{}; ///< absent: the default channel
    bool isPhasedRollout = false;
    bool isCritical = false;
    bool isPublished = true; ///< false: held back from users
    bool operator==(const AppcastItem&) const = default;
};

// For front ends that keep items: the keys are the names of the fields, the date is a number of seconds since
// 2001-01-01 00:00:00 UTC, and an absent channel is left out.
void to_json(nlohmann::json& json, const AppcastItem& item);
/// Throws nlohmann::json::exception that names the key which is missing or cannot be read.
void from_json(const nlohmann::json& json, AppcastItem& item);

} // namespace halvo

template<>
struct std::hash<halvo::AppcastItem> {
    std::size_t operator()(const halvo::AppcastItem& item) const noexcept;
};
