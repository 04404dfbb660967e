#include <Models/StorageConfiguration.h>

namespace halvo {

std::optional<URL> parseWebAddress(std::string_view text) {
    const auto url = URL::parse(text); // which asks for a host where the scheme is one of these two
    return url && (url->scheme() == "https" || url->scheme() == "http") ? url : std::nullopt;
}

std::optional<std::string> S3Configuration::parsePathPrefix(std::string_view text) {
    const std::size_t first = text.find_first_not_of('/');
    if (first == std::string_view::npos)
        return std::nullopt;
    return std::string(text.substr(first, text.find_last_not_of('/') - first + 1));
}

std::string S3Configuration::s3Key(const std::string& name) const {
    return pathPrefix.value_or("").empty() ? name : *pathPrefix + "/" + name;
}

URL S3Configuration::downloadURL(const std::string& name) const {
    return publicBaseURL.appendingPath(s3Key(name));
}

} // namespace halvo
