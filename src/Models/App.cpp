#include <Models/App.h>

#include <Models/ArtifactName.h>
#include <Models/JSONFields.h>
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

void to_json(nlohmann::json& json, const LocalApp& app) {
    FieldWriter(json)
        .field("id", app.id)
        .field("bundleIdentifier", app.bundleIdentifier)
        .field("edDSAPublicKey", app.edDSAPublicKey)
        .field("iconURL", app.iconURL)
        .field("name", app.name)
        .field("storage", app.storage);
}

void from_json(const nlohmann::json& json, LocalApp& app) {
    const FieldReader fields(json);
    fields.required("id", app.id);
    fields.required("bundleIdentifier", app.bundleIdentifier);
    fields.optional("edDSAPublicKey", app.edDSAPublicKey);
    fields.optional("iconURL", app.iconURL);
    fields.required("name", app.name);
    fields.required("storage", app.storage);
    app.releases.clear();
}

void to_json(nlohmann::json& json, const ServerApp& app) {
    FieldWriter(json)
        .field("id", app.id)
        .field("name", app.name)
        .field("bundleIdentifier", app.bundleIdentifier)
        .field("edDSAPublicKey", app.edDSAPublicKey)
        .field("fullReleaseNotesURL", app.fullReleaseNotesURL)
        .field("iconURL", app.iconURL)
        .field("appcastURL", app.appcastURL)
        .field("customDomain", app.customDomain)
        .field("stripeSecretKey", app.stripeSecretKey)
        .field("stripeWebhookSecret", app.stripeWebhookSecret)
        .field("stripeManagedPayments", app.stripeManagedPayments)
        .field("releases", app.releases);
}

void from_json(const nlohmann::json& json, ServerApp& app) {
    const FieldReader fields(json);
    fields.required("id", app.id);
    fields.required("name", app.name);
    fields.required("bundleIdentifier", app.bundleIdentifier);
    fields.optional("edDSAPublicKey", app.edDSAPublicKey);
    fields.optional("fullReleaseNotesURL", app.fullReleaseNotesURL);
    fields.optional("iconURL", app.iconURL);
    fields.required("appcastURL", app.appcastURL);
    fields.optional("customDomain", app.customDomain);
    fields.optional("stripeSecretKey", app.stripeSecretKey);
    fields.optional("stripeWebhookSecret", app.stripeWebhookSecret);
    fields.required("stripeManagedPayments", app.stripeManagedPayments);
    fields.required("releases", app.releases);
}

void to_json(nlohmann::json& json, const App& app) {
    FieldWriter payload = writeTagged(json, app.localApp() ? "local" : "server");
    app.details([&](const auto& details) { payload.field(unnamedPayload, details); });
}

void from_json(const nlohmann::json& json, App& app) {
    const TaggedReader tagged(json);
    if (tagged.name() == "local")
        tagged.required(unnamedPayload, app.value.emplace<LocalApp>());
    else if (tagged.name() == "server")
        tagged.required(unnamedPayload, app.value.emplace<ServerApp>());
    else
        throw tagged.unknownCase("local or server");
}

} // namespace halvo
