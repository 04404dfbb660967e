#pragma once

#include <HalvoAPI/ReleaseRecords.h>
#include <Models/App.h>

#include <nlohmann/json_fwd.hpp>

// What goes to and comes from the service about apps. JSON keys are the names of the fields.
namespace halvo {

struct AppResponse {
    UUID id{};
    std::string name{};
    std::string bundleIdentifier{};
    std::optional<std::string> edDSAPublicKey{};
    std::optional<URL> fullReleaseNotesURL{};
    std::optional<URL> iconURL{};
    URL appcastURL{};
    std::optional<std::string> customDomain{};
    std::optional<std::string> stripeSecretKey{};     ///< secret
    std::optional<std::string> stripeWebhookSecret{}; ///< secret
    bool stripeManagedPayments = false;
    std::vector<ReleaseResponse> releases{};

    ServerApp app() const;

    bool operator==(const AppResponse&) const = default;
};

struct CreateAppRequest {
    std::string name{};
    std::string bundleIdentifier{};
    std::string edDSAPublicKey{}; ///< base64
};

/// What is absent stays as it is on the service.
struct UpdateAppRequest {
    UUID id{};
    std::optional<std::string> edDSAPublicKey{};
    std::optional<URL> fullReleaseNotesURL{};
    std::optional<std::string> customDomain{};
    std::optional<std::string> stripeSecretKey{};
    std::optional<std::string> stripeWebhookSecret{};
    std::optional<bool> stripeManagedPayments{};

    /// Everything of `app` that can be edited.
    static UpdateAppRequest editing(const ServerApp& app);
};

struct DailyDownloads {
    std::string date{};
    std::int64_t downloads = 0;

    bool operator==(const DailyDownloads&) const = default;
};

struct DownloadsResponse {
    std::int64_t total = 0;
    std::vector<DailyDownloads> daily{};

    bool operator==(const DownloadsResponse&) const = default;
};

void from_json(const nlohmann::json& json, AppResponse& response); ///< throws ModelError
void to_json(nlohmann::json& json, const CreateAppRequest& request);
void to_json(nlohmann::json& json, const UpdateAppRequest& request);
void from_json(const nlohmann::json& json, DailyDownloads& downloads);   ///< throws ModelError
void from_json(const nlohmann::json& json, DownloadsResponse& response); ///< throws ModelError

} // namespace halvo
