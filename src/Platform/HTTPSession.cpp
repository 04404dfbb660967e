#include <Platform/HTTPSession.h>

#include <Base/Text.h>
#include <Platform/LoadedModule.h>

#include <mutex>

namespace halvo {
namespace {

/// Opens the module with the first request and leaves the rest to the session in it.
class LoadedHTTPSession final : public HTTPSession {
public:
    explicit LoadedHTTPSession(std::filesystem::path authorities) : authorities(std::move(authorities)) {}

    HTTPResponse send(const HTTPRequest& request, const std::stop_token& cancellation) override {
        return loaded().send(request, cancellation);
    }

private:
    HTTPSession& loaded() {
        const std::scoped_lock lock(mutex);
        if (!session)
            session.reset(LoadedModule("http").function<HTTPSession*(const char*)>("halvoMakeHTTPSession")(
                authorities.c_str()));
        return *session;
    }

    const std::filesystem::path authorities;
    std::mutex mutex;
    std::unique_ptr<HTTPSession> session;
};

} // namespace

std::optional<std::string> HTTPResponse::header(std::string_view name) const {
    for (const auto& [key, value] : headers)
        if (lowercased(key) == lowercased(name))
            return value;
    return std::nullopt;
}

std::unique_ptr<HTTPSession> makeSystemHTTPSession(const std::filesystem::path& authorities) {
    return std::make_unique<LoadedHTTPSession>(authorities);
}

} // namespace halvo
