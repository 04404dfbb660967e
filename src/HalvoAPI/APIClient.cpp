#include <HalvoAPI/APIClient.h>

#include "ResponseBody.h"

#include <Models/Artifact.h>
#include <Models/JSONFields.h>
#include <Platform/Files.h>

namespace halvo {
namespace {

constexpr std::string_view component = "APIClient";
/// Far above any list of apps with all their releases.
constexpr std::uint64_t responseLimit = std::uint64_t{64} << 20;

/// The message of a failure's body, or `otherwise` when it holds none.
std::string messageIn(const HTTPResponse& response, const char* otherwise) {
    const nlohmann::json json = parseBody(response.body);
    try {
        return decodeJSON<MessageResponse>(json).message;
    } catch (const ModelError&) {
        return otherwise;
    }
}

APIError::Case errorFor(const HTTPResponse& response) {
    switch (response.status) {
    case 400: return APIError::BadRequest{messageIn(response, "An unknown error occurred.")};
    case 401: return APIError::Unauthorized{messageIn(response, "You are not authenticated.")};
    case 402: return APIError::PaymentRequired{messageIn(response, "This needs a paid plan.")};
    case 403:
        return APIError::Forbidden{messageIn(response, "You have no permission to access this resource.")};
    case 404: return APIError::NotFound{messageIn(response, "Resource not found.")};
    default: break;
    }
    if (response.status >= 405 && response.status <= 499)
        return APIError::ClientError{response.status,
                                     messageIn(response, "An unknown client error occurred.")};
    return APIError::ServerError{response.status};
}

} // namespace

APIClient::APIClient(URL baseURL, TokenProviding& tokenProvider, HTTPSession& http, Log& log,
                     std::stop_token cancellation, std::weak_ptr<APIClientDelegate> delegate,
                     APITimeLimits timeLimits)
    : baseURL(std::move(baseURL)), tokenProvider(tokenProvider), http(http), log(log),
      cancellation(std::move(cancellation)), delegate(std::move(delegate)), timeLimits(timeLimits) {}

HTTPRequest APIClient::makeRequest(std::string method, const std::string& path) const {
    return {.method = std::move(method),
            .url = baseURL.appendingPath(path).absoluteString(),
            .timeLimit = timeLimits.request,
            .responseLimit = responseLimit};
}

Bytes APIClient::request(HTTPRequest request) {
    if (const auto token = tokenProvider.getToken())
        request.headers.emplace_back("Authorization", "Bearer " + *token);
    HTTPResponse response;
    try {
        response = http.send(request, cancellation);
    } catch (const HTTPError& error) {
        if (error.kind != HTTPError::Kind::notHTTP)
            throw;
        log.write(LogLevel::error, component, error.description());
        throw APIError(APIError::NoResponse());
    }
    handleResponse(response);
    return std::move(response.body);
}

void APIClient::handleResponse(const HTTPResponse& response) {
    if (response.status >= 200 && response.status <= 299)
        return;
    const APIError error(errorFor(response));
    if (const auto told = delegate.lock())
        told->apiClient(*this, error);
    throw error;
}

Bytes APIClient::postRequest(HTTPRequest request, const nlohmann::json& body) {
    const std::string text = body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    request.headers.emplace_back("Content-Type", "application/json");
    request.body = viewBytes(text);
    request.hasBody = true; // its length goes out as Content-Length
    return this->request(std::move(request));
}

Bytes APIClient::postRequest(HTTPRequest request, const std::filesystem::path& file) {
    std::optional<MappedFile> mapped;
    try {
        mapped.emplace(file);
    } catch (const FileError& error) {
        log.write(LogLevel::error, component, error.description());
        throw UploadFileError();
    }
    request.headers.emplace_back("Content-Type", contentType(pathExtension(file)));
    request.body = mapped->bytes();
    request.hasBody = true;
    return this->request(std::move(request));
}

} // namespace halvo
