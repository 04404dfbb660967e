#include <HalvoAPI/APIClient.h>

#include <Models/JSONFields.h>

namespace halvo {
namespace {

constexpr std::string_view component = "APIClient";

std::string appPath(const UUID& id) { return "/v1/apps/" + id.string(); }
std::string releasePath(const UUID& id) { return "/v1/releases/" + id.string(); }

// The names of the records as the log has them.
template<typename Record>
constexpr const char* nameOf = nullptr;
template<>
constexpr const char* nameOf<AppResponse> = "AppResponse";
template<>
constexpr const char* nameOf<std::vector<AppResponse>> = "list of AppResponse";
template<>
constexpr const char* nameOf<DownloadsResponse> = "DownloadsResponse";
template<>
constexpr const char* nameOf<ReleaseResponse> = "ReleaseResponse";
template<>
constexpr const char* nameOf<AuthResponse> = "AuthResponse";
template<>
constexpr const char* nameOf<UserResponse> = "UserResponse";
template<>
constexpr const char* nameOf<MessageResponse> = "MessageResponse";

} // namespace

template<typename Record>
Record APIClient::decode(ByteView body) const {
    try {
        // What is no JSON is a discarded value, which no record accepts.
        return decodeJSON<Record>(nlohmann::json::parse(body.begin(), body.end(), nullptr, false));
    } catch (const ModelError& error) {
        log.write(LogLevel::error, component, "Response body: " + std::string(privateValue));
        log.write(LogLevel::error, component,
                  "Decoding failed for " + std::string(nameOf<Record>) + ": " + error.description());
        throw APIError(APIError::DecodingError());
    }
}

AppResponse APIClient::createApp(const CreateAppRequest& request) {
    return decode<AppResponse>(postRequest(makeRequest("POST", "/v1/apps"), nlohmann::json(request)));
}

AppResponse APIClient::updateApp(const UpdateAppRequest& request) {
    return decode<AppResponse>(
        postRequest(makeRequest("POST", appPath(request.id)), nlohmann::json(request)));
}

void APIClient::deleteApp(const UUID& id) { request(makeRequest("DELETE", appPath(id))); }

AppResponse APIClient::uploadAppIcon(const std::filesystem::path& file, const UUID& appID) {
    return decode<AppResponse>(postRequest(makeRequest("POST", appPath(appID) + "/icon"), file));
}

AppResponse APIClient::fetchApp(const std::string& bundleIdentifier) {
    return decode<AppResponse>(request(makeRequest("GET", "/v1/apps/" + bundleIdentifier + "/details")));
}

std::vector<AppResponse> APIClient::fetchUsersApps() {
    return decode<std::vector<AppResponse>>(request(makeRequest("GET", "/v1/users/apps")));
}

DownloadsResponse APIClient::fetchDownloads(const UUID& appID) {
    return decode<DownloadsResponse>(request(makeRequest("GET", appPath(appID) + "/downloads")));
}

ReleaseResponse APIClient::createRelease(const CreateReleaseRequest& request) {
    return decode<ReleaseResponse>(postRequest(makeRequest("POST", "/v1/releases"), nlohmann::json(request)));
}

ReleaseResponse APIClient::updateRelease(const UpdateReleaseRequest& request) {
    return decode<ReleaseResponse>(
        postRequest(makeRequest("POST", releasePath(request.id)), nlohmann::json(request)));
}

void APIClient::deleteRelease(const UUID& id) {
    request(makeRequest("delete", releasePath(id))); // in lower case, as the service expects it
}

ReleaseResponse APIClient::uploadBinary(const std::filesystem::path& file, const UUID& releaseID,
                                        const TransferProgress& progress) {
    HTTPRequest request = makeRequest("POST", releasePath(releaseID) + "/upload");
    request.timeLimit = timeLimits.binaryUpload;
    request.progress = progress;
    return decode<ReleaseResponse>(postRequest(std::move(request), file));
}

AuthResponse APIClient::registerUser(const RegisterRequest& request) {
    return decode<AuthResponse>(
        postRequest(makeRequest("POST", "/v1/users/register"), nlohmann::json(request)));
}

AuthResponse APIClient::login(const LoginRequest& request) {
    return decode<AuthResponse>(postRequest(makeRequest("POST", "/v1/users/login"), nlohmann::json(request)));
}

void APIClient::logout() {
    HTTPRequest request = makeRequest("POST", "/v1/users/logout");
    request.hasBody = true; // an empty one
    this->request(std::move(request));
}

UserResponse APIClient::getUser() { return decode<UserResponse>(request(makeRequest("GET", "/v1/users"))); }

UserResponse APIClient::updateUser(const UserUpdateRequest& request) {
    return decode<UserResponse>(postRequest(makeRequest("POST", "/v1/users"), nlohmann::json(request)));
}

void APIClient::requestPasswordReset(const std::string& email) {
    decode<MessageResponse>(postRequest(makeRequest("POST", "/v1/users/password/reset/request"),
                                        nlohmann::json(PasswordResetRequest{email})));
}

void APIClient::changePassword(const std::string& currentPassword, const std::string& newPassword) {
    decode<MessageResponse>(postRequest(makeRequest("POST", "/v1/users/password/change"),
                                        nlohmann::json(ChangePasswordRequest{currentPassword, newPassword})));
}

} // namespace halvo
