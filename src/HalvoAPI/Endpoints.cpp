#include <HalvoAPI/APIClient.h>

#include "ResponseBody.h"

#include <Models/JSONFields.h>

namespace halvo {
namespace {

constexpr std::string_view component = "APIClient";

// What the log calls the records.
constexpr const char* app = "AppResponse";
constexpr const char* release = "ReleaseResponse";
constexpr const char* user = "UserResponse";

std::string appPath(const UUID& id) { return "/v1/apps/" + id.string(); }
std::string releasePath(const UUID& id) { return "/v1/releases/" + id.string(); }

} // namespace

template<typename Type>
Type APIClient::decode(ByteView body, const char* name) const {
    try {
        return decodeJSON<Type>(parseBody(body), DateForm::iso8601);
    } catch (const ModelError& error) {
        log.write(LogLevel::error, component, "Response body: " + std::string(privateValue));
        log.write(LogLevel::error, component,
                  "Decoding failed for " + std::string(name) + ": " + error.description());
        throw APIError(APIError::DecodingError());
    }
}

ServerApp APIClient::createApp(const CreateAppRequest& request) {
    return decode<ServerApp>(postRequest(makeRequest("POST", "/v1/apps"), encodeJSON(request)), app);
}

ServerApp APIClient::updateApp(const UpdateAppRequest& request) {
    return decode<ServerApp>(postRequest(makeRequest("POST", appPath(request.id)), encodeJSON(request)), app);
}

void APIClient::deleteApp(const UUID& id) { request(makeRequest("DELETE", appPath(id))); }

ServerApp APIClient::uploadAppIcon(const std::filesystem::path& file, const UUID& appID) {
    return decode<ServerApp>(postRequest(makeRequest("POST", appPath(appID) + "/icon"), file), app);
}

ServerApp APIClient::fetchApp(const std::string& bundleIdentifier) {
    return decode<ServerApp>(request(makeRequest("GET", "/v1/apps/" + bundleIdentifier + "/details")), app);
}

std::vector<ServerApp> APIClient::fetchUsersApps() {
    return decode<std::vector<ServerApp>>(request(makeRequest("GET", "/v1/users/apps")),
                                          "list of AppResponse");
}

Release APIClient::createRelease(const CreateReleaseRequest& request) {
    return decode<Release>(postRequest(makeRequest("POST", "/v1/releases"), encodeJSON(request)), release);
}

Release APIClient::updateRelease(const UpdateReleaseRequest& request) {
    return decode<Release>(postRequest(makeRequest("POST", releasePath(request.id)), encodeJSON(request)),
                           release);
}

void APIClient::deleteRelease(const UUID& id) {
    request(makeRequest("delete", releasePath(id))); // in lower case, as the service expects it
}

Release APIClient::uploadBinary(const std::filesystem::path& file, const UUID& releaseID,
                                const TransferProgress& progress) {
    HTTPRequest request = makeRequest("POST", releasePath(releaseID) + "/upload");
    request.timeLimit = timeLimits.binaryUpload;
    request.progress = progress;
    return decode<Release>(postRequest(std::move(request), file), release);
}

AuthResponse APIClient::registerUser(const RegisterRequest& request) {
    return decode<AuthResponse>(postRequest(makeRequest("POST", "/v1/users/register"), encodeJSON(request)),
                                "AuthResponse");
}

AuthResponse APIClient::login(const LoginRequest& request) {
    return decode<AuthResponse>(postRequest(makeRequest("POST", "/v1/users/login"), encodeJSON(request)),
                                "AuthResponse");
}

void APIClient::logout() {
    HTTPRequest request = makeRequest("POST", "/v1/users/logout");
    request.hasBody = true; // an empty one
    this->request(std::move(request));
}

User APIClient::getUser() { return decode<User>(request(makeRequest("GET", "/v1/users")), user); }

DownloadsResponse APIClient::fetchDownloads(const UUID& appID) {
    return decode<DownloadsResponse>(request(makeRequest("GET", appPath(appID) + "/downloads")),
                                     "DownloadsResponse");
}

User APIClient::updateUser(const UserUpdateRequest& request) {
    return decode<User>(postRequest(makeRequest("POST", "/v1/users"), encodeJSON(request)), user);
}

void APIClient::requestPasswordReset(const std::string& email) {
    decode<MessageResponse>(postRequest(makeRequest("POST", "/v1/users/password/reset/request"),
                                        encodeJSON(PasswordResetRequest{email})),
                            "MessageResponse");
}

void APIClient::changePassword(const std::string& currentPassword, const std::string& newPassword) {
    decode<MessageResponse>(postRequest(makeRequest("POST", "/v1/users/password/change"),
                                        encodeJSON(ChangePasswordRequest{currentPassword, newPassword})),
                            "MessageResponse");
}

UpdateAppRequest UpdateAppRequest::editing(const ServerApp& app) {
    return {.id = app.id,
            .edDSAPublicKey = app.edDSAPublicKey,
            .fullReleaseNotesURL = app.fullReleaseNotesURL,
            .customDomain = app.customDomain,
            .stripeSecretKey = app.stripeSecretKey,
            .stripeWebhookSecret = app.stripeWebhookSecret,
            .stripeManagedPayments = app.stripeManagedPayments};
}

UpdateReleaseRequest UpdateReleaseRequest::editing(const Release& release) {
    return {.id = release.id,
            .title = release.title,
            .releaseNotes = release.releaseNotes,
            .minimumSystemVersion = release.minimumSystemVersion,
            .channel = release.channel.value_or(""), // left out, it would stay as it is
            .isPhasedRollout = release.isPhasedRollout,
            .isCritical = release.isCritical,
            .isPublished = release.isPublished};
}

} // namespace halvo
