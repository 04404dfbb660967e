#pragma once

#include <Base/Bytes.h>
#include <Base/Failure.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace halvo {

/// One header field. Names are compared without regard to case.
using HTTPHeader = std::pair<std::string, std::string>;

/// Told how many bytes of a body went out, of how many, each time that more did; the last call says all of it
/// when the server accepted it. What it throws ends the exchange and comes out of `send`.
using TransferProgress = std::function<void(std::uint64_t sent, std::uint64_t total)>;

struct HTTPRequest {
    std::string method = "GET"; ///< sent exactly as written, also in lower case
    std::string url{};          ///< absolute, already percent-encoded; path and query are sent as they stand
    std::vector<HTTPHeader> headers{};
    ByteView body{};      ///< borrowed; streamed from where it lies, never copied
    bool hasBody = false; ///< true for an empty body too: then `Content-Length: 0` is sent
    /// For the whole exchange; but a body of `largeBody` bytes or more may take as long as it needs while it
    /// moves, and then the answer to it is waited for so long.
    std::chrono::milliseconds timeLimit{60'000};
    /// How long a large body may stand still: no byte taken over by the server, as far as the system knows.
    std::chrono::milliseconds silenceLimit{60'000};
    static constexpr std::size_t largeBody = std::size_t{1} << 20;
    std::uint64_t responseLimit = std::uint64_t{256} << 20; ///< bytes of body that are taken before giving up
    TransferProgress progress{};
};

struct HTTPResponse {
    int status = 0;
    std::vector<HTTPHeader> headers{};
    Bytes body{}; ///< decompressed

    /// The value of the first field of that name.
    std::optional<std::string> header(std::string_view name) const;
    std::string_view text() const { return viewText(body); }
};

/// An exchange that ended without an HTTP response: no route, no name, a cut connection, TLS, the time limit.
class HTTPError : public Failure {
public:
    enum class Kind {
        invalidRequest,   ///< the URL or its scheme cannot be used
        cannotConnect,    ///< no such host, refused, unreachable
        connectionLost,   ///< cut or reset while sending or receiving
        timedOut,         ///< the time limit passed, or a large body stood still
        insecure,         ///< TLS failed: certificate, host name, protocol
        responseTooLarge, ///< the body outgrew `responseLimit`
        notHTTP,          ///< what came back is no HTTP response
        other,
    };
    HTTPError(Kind kind, std::string description) : Failure(std::move(description)), kind(kind) {}
    Kind kind;
};

/// Sends requests over HTTP/1.1 or 2, TLS certificates always verified, proxies taken from the environment
/// except for hosts that are this machine. Redirects are not followed: they come back as responses. So does
/// the answer of a server that refuses a body before it has all of it. Connections are kept for later
/// requests. Usable from several threads at once.
class HTTPSession {
public:
    virtual ~HTTPSession() = default;
    /// Any status is a response. Throws HTTPError, or CancelledError once cancellation is requested.
    virtual HTTPResponse send(const HTTPRequest& request, const std::stop_token& cancellation) = 0;
};

/// The session of this system (libcurl), whose library is opened with the first request. Certificates are
/// checked against the system's authorities or, when `authorities` names a PEM file, against those in it
/// alone.
std::unique_ptr<HTTPSession> makeSystemHTTPSession(const std::filesystem::path& authorities = {});

} // namespace halvo
