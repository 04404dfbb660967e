#pragma once

#include <Models/Release.h>

#include <nlohmann/json_fwd.hpp>

// What goes to and comes from the service about releases. JSON keys are the names of the fields, dates are
// ISO 8601.
namespace halvo {

struct ReleaseResponse {
    UUID id{};
    std::string title{};
    std::int64_t bundleVersion = 0;
    std::string bundleVersionString{};
    std::string releaseNotes{};
    std::string minimumSystemVersion{};
    std::int64_t fileSize = 0; ///< in bytes
    std::optional<URL> downloadURL{};
    std::optional<std::string> channel{};
    bool isPhasedRollout = false;
    bool isCritical = false;
    bool isPublished = false;
    std::optional<Date> createdAt{};
    std::optional<Date> updatedAt{};

    Release release() const;

    bool operator==(const ReleaseResponse&) const = default;
};

struct CreateReleaseRequest {
    std::string title{};
    std::int64_t bundleVersion = 0;
    std::string bundleVersionString{};
    std::string releaseNotes{};
    std::string minimumSystemVersion{};
    std::int64_t fileSize = 0; ///< in bytes
    std::string signature{};   ///< base64 of the file's Ed25519 signature
    bool isPublished = false;
    std::optional<std::string> channel{};
    bool isPhasedRollout = false;
    bool isCritical = false;
    std::optional<UUID> criticalUpdateBelowReleaseID{};
    UUID appID{};
};

/// What is absent stays as it is on the service.
struct UpdateReleaseRequest {
    UUID id{};
    std::optional<std::string> title{};
    std::optional<std::int64_t> bundleVersion{};
    std::optional<std::string> bundleVersionString{};
    std::optional<std::string> releaseNotes{};
    std::optional<std::string> minimumSystemVersion{};
    std::optional<std::string> signature{};
    std::optional<std::string> channel{}; ///< empty: back to the default channel
    std::optional<bool> isPhasedRollout{};
    std::optional<bool> isCritical{};
    std::optional<bool> isPublished{};
    std::optional<UUID> criticalUpdateBelowReleaseID{};

    /// Everything of `release` that can be edited.
    static UpdateReleaseRequest editing(const Release& release);
};

void from_json(const nlohmann::json& json, ReleaseResponse& response); ///< throws ModelError
void to_json(nlohmann::json& json, const CreateReleaseRequest& request);
void to_json(nlohmann::json& json, const UpdateReleaseRequest& request);

} // namespace halvo
