#include <HalvoAPI/ServerURL.h>

#include <Models/ServiceAddresses.h>
#include <Models/StorageConfiguration.h>

namespace halvo {
namespace {

std::string authorityOf(const URL& url) {
    std::string_view text = url.absoluteString();
    text.remove_prefix(text.find("://") + 3);
    return std::string(text.substr(0, text.find_first_of("/?#")));
}

} // namespace

// The value itself is never repeated: it may hold a password.
ServerURLError::ServerURLError(const std::string& reason)
    : Failure("HALVO_SERVER_URL cannot be used: " + reason +
              " Give it an address like https://halvo.example.com.") {}

URL serverURL(const Environment& environment) {
    const auto given = environment.nonEmpty("HALVO_SERVER_URL");
    if (!given)
        return *URL::parse("https://" + std::string(serviceAPIHost));
    const auto url = parseWebAddress(*given);
    if (!url)
        throw ServerURLError("it is not an https address.");
    if (authorityOf(*url).find('@') != std::string::npos)
        throw ServerURLError("it holds a user name or a password.");
    if (url->absoluteString().find_first_of("?#") != std::string::npos)
        throw ServerURLError("it holds more than a host and a path.");
    if (url->scheme() == "http" && !isLoopbackHost(url->host()))
        throw ServerURLError("http would send your token in clear; it is allowed for this machine only.");
    return *url;
}

} // namespace halvo
