#include "CurlExchange.h"

#include <mutex>

namespace halvo {
namespace {

/// Keeps handles between requests for the connections they hold. Each request has one of its own while it
/// runs.
class CurlSession final : public HTTPSession {
public:
    explicit CurlSession(std::string authorities) : authorities(std::move(authorities)) {
        if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK)
            throw HTTPError(HTTPError::Kind::other, "libcurl could not be started.");
    }

    HTTPResponse send(const HTTPRequest& request, const std::stop_token& cancellation) override {
        std::unique_ptr<CurlConnections> connections = take();
        HTTPResponse response = CurlExchange(*connections, request, authorities).run(cancellation);
        const std::scoped_lock lock(mutex);
        idle.push_back(std::move(connections));
        return response;
    }

private:
    std::unique_ptr<CurlConnections> take() {
        const std::scoped_lock lock(mutex);
        if (idle.empty())
            return std::make_unique<CurlConnections>();
        std::unique_ptr<CurlConnections> connections = std::move(idle.back());
        idle.pop_back();
        return connections;
    }

    const std::string authorities;
    std::mutex mutex;
    std::vector<std::unique_ptr<CurlConnections>> idle; ///< no more than requests ran at the same time
};

} // namespace
} // namespace halvo

/// What Platform looks up in this module. The caller owns the session. An empty `authorities` stands for the
/// system's.
extern "C" halvo::HTTPSession* halvoMakeHTTPSession(const char* authorities);

halvo::HTTPSession* halvoMakeHTTPSession(const char* authorities) {
    return new halvo::CurlSession(authorities);
}
