#include "Commands/ConfigFields.h"
#include "DependencyContainer.h"
#include "Output/FailureReport.h"
#include "Services.h"

#include <Base/Unicode.h>
#include <HalvoAPI/ServerURL.h>
#include <HalvoCore/ServerAppRepository.h>

namespace halvo {
namespace {

TerminalText orNote(const std::optional<std::string>& value, const char* note) {
    return value && !value->empty() ? TerminalText(*value) : TerminalText::muted(note);
}

TerminalText orNote(const std::optional<URL>& value, const char* note) {
    if (!value)
        return TerminalText::muted(note);
    return value->isFile() ? value->filePath().string() : value->absoluteString();
}

const char* wordOf(bool value) { return value ? "true" : "false"; }

std::optional<KeyValueRows> releaseRows(const std::optional<ReleaseSettings>& settings) {
    if (!settings)
        return std::nullopt;
    const TerminalText watermark = settings->showWatermark ? TerminalText(wordOf(*settings->showWatermark))
                                                           : TerminalText::muted("(default)");
    return KeyValueRows{{"codesign-identity", settings->codesignIdentity.name},
                        {"keychain-profile", orNote(settings->keychainProfile, "(none)")},
                        {"dmg-enabled", wordOf(settings->dmgEnabled)},
                        {"show-watermark", watermark},
                        {"dmg-background", orNote(settings->dmgBackgroundURL, "(generated)")}};
}

std::optional<KeyValueRows> s3Rows(const std::optional<LocalApp>& app) {
    if (!app)
        return std::nullopt;
    const S3Configuration& s3 = app->storage.s3();
    return KeyValueRows{{"bucket", s3.bucket},
                        {"region", s3.region},
                        {"endpoint", orNote(s3.endpoint, "(default)")},
                        {"path-prefix", orNote(s3.pathPrefix, "(none)")},
                        {"public-url", s3.publicBaseURL.absoluteString()},
                        {"appcast-path", s3.appcastPath}};
}

KeyValueRows appRows(const ServerApp& app, const URL& service) {
    const URL webhook = service.appendingPath("v1/webhooks/stripe/" + app.bundleIdentifier);
    return {{"appcast-url", app.appcastURL.absoluteString()},
            {"custom-domain", orNote(app.customDomain, "(none)")},
            {"release-notes-url", orNote(app.fullReleaseNotesURL, "(none)")},
            {"stripe-secret-key", orNote(std::optional(masked(app.stripeSecretKey)), "(none)")},
            {"stripe-webhook-secret", orNote(std::optional(masked(app.stripeWebhookSecret)), "(none)")},
            {"stripe-managed-payments", wordOf(app.stripeManagedPayments)},
            {"stripe-webhook-url", webhook.absoluteString()}};
}

class ConfigShowCommand final : public Command {
public:
    std::string_view name() const override { return "show"; }
    std::string_view abstract() const override { return "Show configuration values for an app"; }
    std::string_view discussion() const override { return sections; }
    void declare(CommandArguments& arguments) override {
        const std::vector<std::string> words = allConfigWords<ConfigSection>();
        arguments.requiredOption("-b,--bundle-id", bundleId, bundleIdHelp);
        arguments.typedOption<ConfigSection>(
            "--section", section, "Section to show (" + joined(words, ", ") + "). Shows all if omitted.",
            parseConfigWord<ConfigSection>, words);
    }

    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        DependencyContainer container(services.platform);
        endingOnFailure(*terminal, ExitCode::failure, [&] {
            terminal->print("Configuration for " + TerminalText::primary(bundleId));
            if (isChosen(ConfigSection::release))
                show(*terminal, "Release Settings",
                     releaseRows(container.storageController().getReleaseSettings(bundleId)),
                     "Not configured");
            if (isChosen(ConfigSection::s3))
                show(*terminal, "S3 Settings", s3Rows(container.localApps().fetchStored(bundleId)),
                     "Not configured");
            if (isChosen(ConfigSection::app))
                show(*terminal, "App Settings (Halvo-hosted)", hostedRows(container, *terminal),
                     "Not an Halvo-hosted app or not logged in");
        });
    }

private:
    bool isChosen(ConfigSection candidate) const { return !section || section == candidate; }

    static void show(Terminal& terminal, const char* title, const std::optional<KeyValueRows>& rows,
                     const char* otherwise) {
        terminal.print("\n" + TerminalText::section(title));
        if (rows)
            terminal.keyValues(*rows);
        else
            terminal.print(TerminalText::muted(otherwise));
    }

    /// Absent whatever keeps the app from being fetched: a person who hosts elsewhere need not be online.
    std::optional<KeyValueRows> hostedRows(DependencyContainer& container, Terminal& terminal) const {
        if (!container.tokenController().getToken())
            return std::nullopt;
        const URL service = serverURL(container.platform().environment);
        try {
            return appRows(
                terminal.wait("Fetching the app",
                              [&] { return ServerAppRepository(container.apiClient()).fetch(bundleId); }),
                service);
        } catch (const Failure&) {
            return std::nullopt;
        }
    }

    const std::string sections = configWordList<ConfigSection>("Sections:");
    std::string bundleId{};
    std::optional<ConfigSection> section{};
};

class ConfigClearReleaseCommand final : public Command {
public:
    std::string_view name() const override { return "release"; }
    std::string_view abstract() const override { return "Clear release configuration for an app"; }
    void declare(CommandArguments& arguments) override {
        arguments.requiredOption("-b,--bundle-id", bundleId, bundleIdHelp);
    }

    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        UserDefaultsStorageController storage(services.platform.userDefaults);
        endingOnFailure(*terminal, ExitCode::failure, [&] {
            withFailurePrefix("Failed to clear: ",
                              [&] { storage.setReleaseSettings(std::nullopt, bundleId); });
            terminal->print("Cleared release settings for " + bundleId);
        });
    }

private:
    std::string bundleId{};
};

class ConfigClearCommand final : public CommandGroup {
public:
    ConfigClearCommand() { add(std::make_unique<ConfigClearReleaseCommand>()); }
    std::string_view name() const override { return "clear"; }
    std::string_view abstract() const override { return "Clear release configuration for an app"; }
};

class ConfigCommand final : public CommandGroup {
public:
    ConfigCommand() {
        add(std::make_unique<ConfigShowCommand>(), makeConfigSetCommand(),
            std::make_unique<ConfigClearCommand>());
    }
    std::string_view name() const override { return "config"; }
    std::string_view abstract() const override { return "Manage per-app configuration"; }
    std::string_view discussion() const override {
        return "Configure release and S3 storage settings for your apps.\n"
               "All settings are stored per-app using the bundle identifier.\n"
               "\n"
               "  halvo config show -b com.example.App\n"
               "  halvo config set release keychain-profile \"profile\" -b com.example.App\n"
               "  halvo config set s3 region eu-central-1 -b com.example.App\n"
               "  halvo config clear release -b com.example.App";
    }
};

} // namespace

std::string masked(const std::optional<std::string>& secret) {
    constexpr std::size_t shown = 4;
    if (!secret || secret->empty())
        return {};
    const bool isLong = secret->size() >= 4 * shown && displayWidth(*secret) == secret->size();
    return "\u2022\u2022\u2022\u2022" + (isLong ? secret->substr(secret->size() - shown) : std::string());
}

std::unique_ptr<Command> makeConfigCommand() { return std::make_unique<ConfigCommand>(); }

} // namespace halvo
