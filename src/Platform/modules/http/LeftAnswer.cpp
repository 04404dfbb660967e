// What a server answered before it reset the connection on which we were still sending.
//
// The reset can reach us between two writes; libcurl then gives up without reading the answer, although the
// system still holds it. It is small and whole, or of no use, so this reads just enough of HTTP/1.1 (RFC
// 9112).
#include "CurlExchange.h"

#include <Base/Text.h>

#include <algorithm>
#include <charconv>

namespace halvo {
namespace {

/// The data of a chunked body as far as it goes.
std::string dechunked(std::string_view body) {
    std::string data;
    while (true) {
        std::size_t size = 0;
        const auto [end, failed] = std::from_chars(body.data(), body.data() + body.size(), size, 16);
        const std::size_t line = body.find("\r\n");
        if (failed != std::errc() || size == 0 || line == body.npos)
            return data;
        body.remove_prefix(line + 2);
        data += body.substr(0, size);
        body.remove_prefix(std::min(body.size(), size));
        if (!body.starts_with("\r\n"))
            return data;
        body.remove_prefix(2);
    }
}

} // namespace

void CurlExchange::readAnswerLeftInSocket() {
    std::string_view left = connections.leftInSocket;
    // Interim responses may stand before the one that counts.
    while (!headerComplete) {
        const std::size_t end = left.find("\r\n\r\n");
        if (!left.starts_with("HTTP/1.") || end == left.npos)
            return;
        for (const std::string& line : split(left.substr(0, end + 2), '\n'))
            receiveHeader(const_cast<char*>(line.data()), 1, line.size(), this);
        left.remove_prefix(end + 4);
    }
    if (response.header("Content-Encoding"))
        left = {};
    const auto length = parseInteger(response.header("Content-Length").value_or(""));
    if (containsIgnoringCase(response.header("Transfer-Encoding").value_or(""), "chunked"))
        response.body = copyBytes(dechunked(left));
    else
        response.body =
            copyBytes(length && *length >= 0 ? left.substr(0, static_cast<std::size_t>(*length)) : left);
}

} // namespace halvo
