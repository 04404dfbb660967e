#pragma once

#include <Models/App.h>
#include <Models/User.h>

// What goes to and comes from the service, beside ServerApp, Release and User, which it holds as they are.
namespace halvo {

struct CreateAppRequest {
    std::string name{};
    std::string bundleIdentifier{};
    std::string edDSAPublicKey{}; ///< base64

    static void fields(auto& request, auto&& field) {
        field("name", request.name);
        field("bundleIdentifier", request.bundleIdentifier);
        field("edDSAPublicKey", request.edDSAPublicKey);
    }
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

    static void fields(auto& request, auto&& field) {
        field("id", request.id);
        field("edDSAPublicKey", request.edDSAPublicKey);
        field("fullReleaseNotesURL", request.fullReleaseNotesURL);
        field("customDomain", request.customDomain);
        field("stripeSecretKey", request.stripeSecretKey);
        field("stripeWebhookSecret", request.stripeWebhookSecret);
        field("stripeManagedPayments", request.stripeManagedPayments);
    }
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

    static void fields(auto& request, auto&& field) {
        field("title", request.title);
        field("bundleVersion", request.bundleVersion);
        field("bundleVersionString", request.bundleVersionString);
        field("releaseNotes", request.releaseNotes);
        field("minimumSystemVersion", request.minimumSystemVersion);
        field("fileSize", request.fileSize);
        field("signature", request.signature);
        field("isPublished", request.isPublished);
        field("channel", request.channel);
        field("isPhasedRollout", request.isPhasedRollout);
        field("isCritical", request.isCritical);
        field("criticalUpdateBelowReleaseID", request.criticalUpdateBelowReleaseID);
        field("appID", request.appID);
    }
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

    static void fields(auto& request, auto&& field) {
        field("id", request.id);
        field("title", request.title);
        field("bundleVersion", request.bundleVersion);
        field("bundleVersionString", request.bundleVersionString);
        field("releaseNotes", request.releaseNotes);
        field("minimumSystemVersion", request.minimumSystemVersion);
        field("signature", request.signature);
        field("channel", request.channel);
        field("isPhasedRollout", request.isPhasedRollout);
        field("isCritical", request.isCritical);
        field("isPublished", request.isPublished);
        field("criticalUpdateBelowReleaseID", request.criticalUpdateBelowReleaseID);
    }
};

struct RegisterRequest {
    std::string email{};
    std::string password{};
    std::string name{};

    static void fields(auto& request, auto&& field) {
        field("email", request.email);
        field("password", request.password);
        field("name", request.name);
    }
};

struct LoginRequest {
    std::string email{};
    std::string password{};

    static void fields(auto& request, auto&& field) {
        field("email", request.email);
        field("password", request.password);
    }
};

struct AuthResponse {
    User user{};
    std::string token{}; ///< the bearer token; secret

    static void fields(auto& response, auto&& field) {
        field("user", response.user);
        field("token", response.token);
    }

    bool operator==(const AuthResponse&) const = default;
};

struct MessageResponse {
    std::string message{};

    static void fields(auto& response, auto&& field) { field("message", response.message); }
};

// The rest is for the companion Mac app; no command of `halvo` uses it.

struct UserUpdateRequest {
    std::string name{};

    static void fields(auto& request, auto&& field) { field("name", request.name); }
};

struct PasswordResetRequest {
    std::string email{};

    static void fields(auto& request, auto&& field) { field("email", request.email); }
};

struct ChangePasswordRequest {
    std::string currentPassword{};
    std::string newPassword{};

    static void fields(auto& request, auto&& field) {
        field("currentPassword", request.currentPassword);
        field("newPassword", request.newPassword);
    }
};

struct DailyDownloads {
    std::string date{};
    std::int64_t downloads = 0;

    static void fields(auto& day, auto&& field) {
        field("date", day.date);
        field("downloads", day.downloads);
    }

    bool operator==(const DailyDownloads&) const = default;
};

struct DownloadsResponse {
    std::int64_t total = 0;
    std::vector<DailyDownloads> daily{};

    static void fields(auto& response, auto&& field) {
        field("total", response.total);
        field("daily", response.daily);
    }

    bool operator==(const DownloadsResponse&) const = default;
};

} // namespace halvo
