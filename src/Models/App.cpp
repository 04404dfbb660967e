#include <Models/App.h>

#include <Models/Artifact.h>
#include <Models/ServiceAddresses.h>

namespace halvo {

std::optional<URL> LocalApp::downloadURL() const {
    const std::vector<Release> sorted = sortedByBundleVersion(releases);
    if (sorted.empty() || !sorted.front().downloadURL)
        return std::nullopt;
    return storage.downloadURL(artifactName(name) + "." + sorted.front().downloadURL->pathExtension());
}

URL ServerApp::downloadURL() const {
    const std::string host = appcastURL.host();
    const auto root = URL::parse("https://" + (host.empty() ? serviceAPIHost : host));
    return root.value().appendingPath("v1/apps/" + bundleIdentifier + "/download");
}

UUID App::id() const {
    return details([](const auto& app) { return app.id; });
}

const std::string& App::name() const {
    return details([](const auto& app) -> const std::string& { return app.name; });
}

const std::string& App::bundleIdentifier() const {
    return details([](const auto& app) -> const std::string& { return app.bundleIdentifier; });
}

const std::optional<std::string>& App::edDSAPublicKey() const {
    return details([](const auto& app) -> const auto& { return app.edDSAPublicKey; });
}

const std::optional<URL>& App::iconURL() const {
    return details([](const auto& app) -> const auto& { return app.iconURL; });
}

URL App::appcastURL() const {
    if (const LocalApp* local = localApp())
        return local->appcastURL();
    return serverApp()->appcastURL;
}

const std::vector<Release>& App::releases() const {
    return details([](const auto& app) -> const auto& { return app.releases; });
}

std::optional<URL> App::downloadURL() const {
    return details([](const auto& app) -> std::optional<URL> { return app.downloadURL(); });
}

} // namespace halvo
