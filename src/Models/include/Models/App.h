#pragma once

#include <Models/Release.h>
#include <Models/StorageConfiguration.h>

#include <concepts>

namespace halvo {

/// An app that is published to the user's own bucket.
struct LocalApp {
    UUID id{};
    std::string bundleIdentifier{};
    std::optional<std::string> edDSAPublicKey{};
    std::optional<URL> iconURL{};
    std::string name{};
    StorageConfiguration storage{};
    std::vector<Release> releases{}; ///< in memory only: the appcast is where they are kept

    URL appcastURL() const { return storage.appcastURL(); }
    /// The address that always gives the newest release; absent while that one has no download.
    std::optional<URL> downloadURL() const;

    static void fields(auto& app, auto&& field) {
        field("id", app.id);
        field("bundleIdentifier", app.bundleIdentifier);
        field("edDSAPublicKey", app.edDSAPublicKey);
        field("iconURL", app.iconURL);
        field("name", app.name);
        field("storage", app.storage);
    }

    bool operator==(const LocalApp&) const = default;
};

/// An app that the hosted service holds.
struct ServerApp {
    UUID id{};
    std::string name{};
    std::string bundleIdentifier{};
    std::optional<std::string> edDSAPublicKey{};
    std::optional<URL> fullReleaseNotesURL{};
    std::optional<URL> iconURL{};
    URL appcastURL{};
    std::optional<std::string> customDomain{};
    std::optional<std::string> stripeSecretKey{};     ///< secret; carried for the service
    std::optional<std::string> stripeWebhookSecret{}; ///< secret; carried for the service
    bool stripeManagedPayments = false;
    std::vector<Release> releases{};

    /// The address that always gives the newest release, on the host that serves the appcast.
    URL downloadURL() const;

    static void fields(auto& app, auto&& field) {
        field("id", app.id);
        field("name", app.name);
        field("bundleIdentifier", app.bundleIdentifier);
        field("edDSAPublicKey", app.edDSAPublicKey);
        field("fullReleaseNotesURL", app.fullReleaseNotesURL);
        field("iconURL", app.iconURL);
        field("appcastURL", app.appcastURL);
        field("customDomain", app.customDomain);
        field("stripeSecretKey", app.stripeSecretKey);
        field("stripeWebhookSecret", app.stripeWebhookSecret);
        field("stripeManagedPayments", app.stripeManagedPayments);
        field("releases", app.releases);
    }

    bool operator==(const ServerApp&) const = default;
};

/// What every kind of app has.
template<typename Type>
concept AppProtocol = requires(const Type& app) {
    { app.id } -> std::convertible_to<UUID>;
    { app.name } -> std::convertible_to<std::string>;
    { app.bundleIdentifier } -> std::convertible_to<std::string>;
    { app.edDSAPublicKey } -> std::convertible_to<std::optional<std::string>>;
    { app.iconURL } -> std::convertible_to<std::optional<URL>>;
    { app.releases } -> std::convertible_to<std::vector<Release>>;
    { app.downloadURL() } -> std::convertible_to<std::optional<URL>>;
};

/// An app of either kind. What both have in common is forwarded.
struct App {
    std::variant<LocalApp, ServerApp> value{};

    /// Calls `visitor` with the app of whichever kind and gives its answer.
    template<typename Visitor>
    decltype(auto) details(Visitor&& visitor) const {
        return std::visit(
            [&visitor]<AppProtocol Kind>(const Kind& app) -> decltype(auto) { return visitor(app); }, value);
    }

    UUID id() const;
    const std::string& name() const;
    const std::string& bundleIdentifier() const;
    const std::optional<std::string>& edDSAPublicKey() const;
    const std::optional<URL>& iconURL() const;
    URL appcastURL() const;
    const std::vector<Release>& releases() const;
    std::optional<URL> downloadURL() const;

    /// Null when the app is of the other kind.
    const LocalApp* localApp() const { return std::get_if<LocalApp>(&value); }
    const ServerApp* serverApp() const { return std::get_if<ServerApp>(&value); }

    static constexpr const char* caseNames[] = {"local", "server"};
    static void caseFields(auto& app, auto&& field) { field("_0", app); }

    bool operator==(const App&) const = default;
};

} // namespace halvo
