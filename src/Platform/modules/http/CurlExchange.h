#pragma once

#include "CurlConnections.h"

#include <Platform/HTTPSession.h>

#include <exception>

namespace halvo {

/// Scheme (lower-case), host and port of a URL, as failures name them.
struct HTTPAuthority {
    std::string scheme{};
    std::string host{};
    std::string port{};
};

/// One request and its response over the given connections.
class CurlExchange {
public:
    /// Throws HTTPError when the request cannot be sent as it is.
    /// `authorities` is a PEM file, or empty for the system's.
    CurlExchange(CurlConnections& connections, const HTTPRequest& request, const std::string& authorities);
    CurlExchange(const CurlExchange&) = delete;
    CurlExchange& operator=(const CurlExchange&) = delete;
    ~CurlExchange();

    HTTPResponse run(const std::stop_token& cancellation);

private:
    static constexpr std::size_t maximumHeaderSize = std::size_t{1} << 20;

    bool sendsBody() const { return request.hasBody || !request.body.empty(); }
    bool sendsLargeBody() const { return request.body.size() >= HTTPRequest::largeBody; }
    bool asksBeforeBody() const;
    std::chrono::milliseconds patience();
    std::string unfinished(std::chrono::milliseconds limit) const;
    void configure();
    void configureHeaders();
    void configureBody();
    void setReceivers();
    CURLcode transfer(const std::stop_token& cancellation);
    void readAnswerLeftInSocket();
    [[noreturn]] void fail(CURLcode code);
    bool refusedInUpload(CURLcode code);
    void reportProgress(std::uint64_t sent);

    // Called by libcurl; an exception must not pass through it, so it is kept in `thrown`.
    static std::size_t readBody(char* buffer, std::size_t size, std::size_t count, void* self);
    static int seekBody(void* self, curl_off_t offset, int origin);
    static std::size_t receiveHeader(char* line, std::size_t size, std::size_t count, void* self);
    static std::size_t receiveBody(char* piece, std::size_t size, std::size_t count, void* self);
    static int transferInfo(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t sent);

    /// What changes while a transfer moves.
    struct Movement {
        int waiting = 0;     ///< in the system's send buffer
        curl_off_t sent = 0; ///< given to the system
        curl_off_t received = 0;
        bool operator==(const Movement&) const = default;
    };

    CurlConnections& connections;
    const HTTPRequest& request;
    const std::string& authorities;
    HTTPAuthority authority;
    CurlOwner<curl_slist, &curl_slist_free_all> headers;
    HTTPResponse response;
    ByteView unsent;
    std::uint64_t reported = 0;
    Movement movement;
    std::chrono::steady_clock::time_point lastMovement{};
    std::size_t headerSize = 0;
    bool headerComplete = false; ///< the final response's header, not an interim one's
    bool bodyTooLarge = false;
    bool headerTooLarge = false;
    std::exception_ptr thrown;
    char message[CURL_ERROR_SIZE] = {};
};

/// The failure for a transfer that libcurl gave up with `code`. `message` is libcurl's own, `systemCode` an
/// errno value or 0.
HTTPError describeTransferFailure(CURLcode code, const HTTPAuthority& authority, std::string_view message,
                                  int systemCode);

} // namespace halvo
