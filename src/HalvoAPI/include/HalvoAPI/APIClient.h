#pragma once

#include <HalvoAPI/APIError.h>
#include <HalvoAPI/Records.h>

#include <Base/URL.h>
#include <Platform/HTTPSession.h>
#include <Platform/Log.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace halvo {

class APIClient;

/// Where the bearer token of the hosted service comes from.
class TokenProviding {
public:
    virtual ~TokenProviding() = default;
    /// Absent when nobody is logged in.
    virtual std::optional<std::string> getToken() = 0;
};

/// A file that should be uploaded cannot be read; the log has the reason.
class UploadFileError : public Failure {
public:
    UploadFileError() : Failure("Failed to read file data") {}
};

/// Told of every answer that is an APIError, before the failure reaches the caller.
class APIClientDelegate {
public:
    virtual ~APIClientDelegate() = default;
    virtual void apiClient(APIClient& client, const APIError& didFail) = 0;
};

/// How long one exchange may take.
struct APITimeLimits {
    std::chrono::milliseconds request{60'000};
    std::chrono::milliseconds binaryUpload{600'000};
};

/// The REST client of the hosted service: one operation for each endpoint.
///
/// Each sends one request, with the bearer token if there is one, and is done or throws: APIError for an
/// answer that is not a success, HTTPError for a transfer that ends without one, CancelledError. Nothing is
/// retried, and no redirect is followed, so that the token goes to the service's own host only. Usable from
/// several threads at once if the token provider is.
class APIClient {
public:
    /// Keeps references to the token provider, asked afresh for every request, and to the session and log.
    APIClient(URL baseURL, TokenProviding& tokenProvider, HTTPSession& http, Log& log,
              std::stop_token cancellation = {}, std::weak_ptr<APIClientDelegate> delegate = {},
              APITimeLimits timeLimits = {});

    // Apps.
    ServerApp createApp(const CreateAppRequest& request);
    ServerApp updateApp(const UpdateAppRequest& request);
    void deleteApp(const UUID& id);
    /// The file is mapped and streamed. Throws UploadFileError.
    ServerApp uploadAppIcon(const std::filesystem::path& file, const UUID& appID);
    ServerApp fetchApp(const std::string& bundleIdentifier);
    std::vector<ServerApp> fetchUsersApps();

    // Releases.
    Release createRelease(const CreateReleaseRequest& request);
    Release updateRelease(const UpdateReleaseRequest& request);
    void deleteRelease(const UUID& id);
    /// The file is mapped and streamed. Throws UploadFileError.
    Release uploadBinary(const std::filesystem::path& file, const UUID& releaseID,
                         const TransferProgress& progress = {});

    // The account.
    AuthResponse registerUser(const RegisterRequest& request); ///< `register` is a word of the language
    AuthResponse login(const LoginRequest& request);
    void logout();
    User getUser();

    // For the companion Mac app.
    DownloadsResponse fetchDownloads(const UUID& appID);
    User updateUser(const UserUpdateRequest& request);
    void requestPasswordReset(const std::string& email);
    void changePassword(const std::string& currentPassword, const std::string& newPassword);

private:
    HTTPRequest makeRequest(std::string method, const std::string& path) const;
    Bytes request(HTTPRequest request);
    Bytes postRequest(HTTPRequest request, const nlohmann::json& body);
    Bytes postRequest(HTTPRequest request, const std::filesystem::path& file);
    void handleResponse(const HTTPResponse& response);
    /// `name` is what the log calls the record.
    template<typename Type>
    Type decode(ByteView body, const char* name) const;

    URL baseURL;
    TokenProviding& tokenProvider;
    HTTPSession& http;
    Log& log;
    std::stop_token cancellation;
    std::weak_ptr<APIClientDelegate> delegate;
    APITimeLimits timeLimits;
};

} // namespace halvo
