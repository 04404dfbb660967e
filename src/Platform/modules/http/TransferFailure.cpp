#include "CurlExchange.h"

#include <cstring>

namespace halvo {
namespace {

using Kind = HTTPError::Kind;

bool isBrokenConnection(int systemCode, std::string_view message) {
    return systemCode == ECONNRESET || systemCode == EPIPE ||
           message.find("SSL_ERROR_SYSCALL") != message.npos ||
           message.find("eset by peer") != message.npos || message.find("unexpected eof") != message.npos;
}

/// libcurl's sentence "Failed to connect to HOST port PORT after ..." names the proxy when one is asked.
std::string connectTarget(const HTTPAuthority& authority, std::string_view message) {
    std::string target = authority.host + " port " + authority.port;
    constexpr std::string_view start = "onnect to ";
    const std::size_t from = message.find(start);
    const std::size_t to = message.find(" after ");
    if (from == message.npos || to == message.npos || to < from)
        return target;
    const std::string named(message.substr(from + start.size(), to - from - start.size()));
    return named == target ? target : "the proxy " + named + " for " + authority.host;
}

HTTPError insecure(const std::string& host, std::string_view reason) {
    return {Kind::insecure, "The connection to " + host + " is not secure: " + std::string(reason)};
}

HTTPError lost(const std::string& host, const std::string& when) {
    return {Kind::connectionLost, "The connection to " + host + " was lost " + when + "."};
}

} // namespace

HTTPError describeTransferFailure(CURLcode code, const HTTPAuthority& authority, std::string_view message,
                                  int systemCode) {
    const std::string& host = authority.host;
    const std::string reason(message.empty() ? curl_easy_strerror(code) : std::string(message));
    switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST: return {Kind::cannotConnect, "Could not find the host " + host + "."};
    case CURLE_COULDNT_RESOLVE_PROXY:
        return {Kind::cannotConnect, "Could not find the proxy for " + host + ": " + reason};
    case CURLE_COULDNT_CONNECT:
        return {Kind::cannotConnect, "Could not connect to " + connectTarget(authority, message) + ": " +
                                         (systemCode != 0 ? std::strerror(systemCode) : reason)};
    case CURLE_PROXY: return {Kind::cannotConnect, "The proxy for " + host + " refused: " + reason};
    case CURLE_SEND_ERROR: return lost(host, "while sending");
    case CURLE_RECV_ERROR:
        // libcurl reports a proxy's refusal to open a tunnel with this code.
        if (message.find("CONNECT") != message.npos)
            return {Kind::cannotConnect, "The proxy for " + host + " refused: " + reason};
        return lost(host, "while receiving");
    case CURLE_GOT_NOTHING: return lost(host, "before it answered");
    case CURLE_PARTIAL_FILE: return lost(host, "before its answer was whole");
    case CURLE_SSL_CONNECT_ERROR:
        return isBrokenConnection(systemCode, message) ? lost(host, "while a secure connection was set up")
                                                       : insecure(host, reason);
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS: return insecure(host, reason);
    case CURLE_UNSUPPORTED_PROTOCOL: // an answer without a status line counts as HTTP/0.9
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
        return {Kind::notHTTP, "The answer of " + host + " is not an HTTP response: " + reason};
    case CURLE_BAD_CONTENT_ENCODING:
        return {Kind::notHTTP, "The answer of " + host + " cannot be decompressed: " + reason};
    case CURLE_URL_MALFORMAT:
        return {Kind::invalidRequest, "The address of a request to " + host + " is not a valid URL."};
    default: return {Kind::other, "The request to " + host + " failed: " + reason};
    }
}

} // namespace halvo
