#include "Commands/BooleanValue.h"
#include "Commands/ConfigFields.h"
#include "DependencyContainer.h"
#include "Output/FailureReport.h"
#include "Services.h"

#include <HalvoCore/ServerAppRepository.h>
#include <HalvoCore/StorageController.h>
#include <HalvoDMG/Background.h>
#include <HalvoDMG/DMGConfiguration.h>
#include <HalvoNotarization/Codesigner.h>

namespace halvo {
namespace {

/// A command that sets one of the fields of an enumeration to a value, for one app.
template<typename Field>
class ConfigSetFieldCommand : public Command {
public:
    std::string_view discussion() const final { return fieldList; }
    void declare(CommandArguments& arguments) final {
        const std::vector<std::string> words = allConfigWords<Field>();
        arguments.typedPositional<Field>("field", field, "Field to set (" + joined(words, ", ") + ")",
                                         parseConfigWord<Field>, words);
        arguments.positional("value", value, valueHelp());
        arguments.requiredOption("-b,--bundle-id", bundleId, bundleIdHelp);
    }

protected:
    virtual std::string valueHelp() const { return "Value to set"; }

    Field field{};
    std::string value{};
    std::string bundleId{};

private:
    const std::string fieldList = configWordList<Field>("Fields:");
};

/// Throws Failure "Invalid URL: " and the text unless it is an http or https address.
URL parseConfigURL(const std::string& text) {
    const auto url = parseWebAddress(text);
    if (!url)
        throw Failure("Invalid URL: " + text);
    return *url;
}

class ConfigSetReleaseCommand final : public ConfigSetFieldCommand<ReleaseField> {
public:
    std::string_view name() const override { return "release"; }
    std::string_view abstract() const override { return "Set a release configuration value"; }

    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        UserDefaultsStorageController storage(services.platform.userDefaults);
        endingOnFailure(*terminal, ExitCode::failure, [&] {
            const ReleaseSettings settings = changed(storage.getReleaseSettings(bundleId), services.platform);
            withFailurePrefix("Failed to save: ", [&] { storage.setReleaseSettings(settings, bundleId); });
            if (value.empty())
                terminal->print("Cleared release." + wordOf(field));
            else
                terminal->print("Set release." + wordOf(field) + " to " + value);
        });
    }

private:
    /// The stored settings with the one field replaced.
    ReleaseSettings changed(std::optional<ReleaseSettings> stored, Platform& platform) const {
        if (field == ReleaseField::codesignIdentity) {
            ReleaseSettings settings = std::move(stored).value_or(ReleaseSettings());
            settings.codesignIdentity = findIdentity(platform);
            return settings;
        }
        if (!stored)
            throw Failure("No existing release settings. Set codesign-identity first.");
        switch (field) {
        case ReleaseField::codesignIdentity: break; // above
        case ReleaseField::keychainProfile: stored->keychainProfile = value; break;
        case ReleaseField::dmgEnabled: stored->dmgEnabled = readBoolean(); break;
        case ReleaseField::showWatermark: stored->showWatermark = readBoolean(); break;
        case ReleaseField::dmgBackground: stored->dmgBackgroundURL = readBackground(platform); break;
        }
        return std::move(*stored);
    }

    CodesignIdentity findIdentity(Platform& platform) const {
        const std::vector<CodesignIdentity> identities =
            Codesigner(platform.processes, platform.log, platform.cancellation).availableIdentities();
        std::string names;
        for (const CodesignIdentity& identity : identities) {
            if (identity.name == value)
                return identity;
            names += "\n  " + identity.name;
        }
        throw Failure("Codesign identity not found: " + value +
                      "\nAvailable identities:" + (names.empty() ? "\n  (none)" : names));
    }

    bool readBoolean() const {
        if (const auto parsed = parseBooleanValue(value))
            return *parsed;
        throw Failure("Invalid value for " + wordOf(field) + ". Use 'true' or 'false'.");
    }

    std::optional<URL> readBackground(Platform& platform) const {
        if (value.empty())
            return std::nullopt;
        const URL background = URL::file(
            std::filesystem::absolute(expandingTilde(value, platform.homeDirectory)).lexically_normal());
        (void)fittedBackground(background, DMGConfiguration().windowSize(),
                               platform.images); // says what is wrong
        return background;
    }
};

class ConfigSetS3Command final : public ConfigSetFieldCommand<S3Field> {
public:
    std::string_view name() const override { return "s3"; }
    std::string_view abstract() const override { return "Set an S3 storage configuration value"; }

    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        DependencyContainer container(services.platform);
        endingOnFailure(*terminal, ExitCode::failure, [&] {
            std::optional<LocalApp> app = container.localApps().fetchStored(bundleId);
            if (!app)
                throw Failure("App not found. Run `halvo release` first to set up your app.");
            app->storage.value = changed(app->storage.s3());
            withFailurePrefix("Failed to save: ", [&] { container.localApps().update(*app); });
            if (value.empty())
                terminal->print("Cleared s3." + wordOf(field));
            else
                terminal->print("Set s3." + wordOf(field) + " to " + value);
        });
    }

private:
    /// The configuration with the one field replaced; `value` becomes what is stored. An empty value clears
    /// what is optional.
    S3Configuration changed(S3Configuration configuration) {
        switch (field) {
        case S3Field::bucket: configuration.bucket = required(); break;
        case S3Field::region: configuration.region = required(); break;
        case S3Field::endpoint:
            configuration.endpoint = value.empty() ? std::nullopt : std::optional(parseConfigURL(value));
            break;
        case S3Field::pathPrefix:
            configuration.pathPrefix = S3Configuration::parsePathPrefix(value);
            value = configuration.pathPrefix.value_or("");
            break;
        case S3Field::publicBaseURL: configuration.publicBaseURL = parseConfigURL(value); break;
        case S3Field::appcastPath:
            if (value.empty())
                value = S3Configuration::defaultAppcastPath;
            configuration.appcastPath = value;
            break;
        }
        return configuration;
    }

    const std::string& required() const {
        if (value.empty())
            throw Failure("Invalid value for " + wordOf(field) + ". It cannot be empty.");
        return value;
    }
};

const std::string couldNotUpdate = "Failed to update app: ";

class ConfigSetAppCommand final : public ConfigSetFieldCommand<AppField> {
public:
    std::string_view name() const override { return "app"; }
    std::string_view abstract() const override { return "Set a server app configuration value"; }

    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        DependencyContainer container(services.platform);
        endingOnFailure(*terminal, ExitCode::failure, [&] {
            const bool wasRead = isSecret() && value == "-";
            if (wasRead)
                value = readSecret(services, *terminal);
            terminal->wait("Updating the app", [&] { update(container); });
            // What came as an argument is in the history of the shell anyway; what was read is kept from the
            // screen.
            terminal->print("Set app." + wordOf(field) + " to " + (wasRead ? masked(value) : value));
        });
    }

protected:
    std::string valueHelp() const override {
        return "Value to set; for a secret, - reads it from standard input";
    }

private:
    bool isSecret() const {
        return field == AppField::stripeSecretKey || field == AppField::stripeWebhookSecret;
    }

    /// What other users of the machine cannot see in the list of processes: asked for at a terminal,
    /// otherwise the first line of standard input.
    std::string readSecret(const Services& services, Terminal& terminal) const {
        std::string secret =
            terminal.interactive()
                ? terminal.textPrompt(
                      {.title = wordOf(field), .prompt = "What is the new value?", .secure = true})
                : readLine(*services.standardInput, services.platform.cancellation);
        if (secret.empty())
            throw Failure("No value was given for " + wordOf(field) + ".");
        return secret;
    }

    static std::string readLine(InputSource& input, const std::stop_token& cancellation) {
        constexpr std::size_t most = 4096; // bytes
        std::string line;
        while (line.size() < most) {
            const auto read = input.read({}, cancellation);
            if (read.kind != InputSource::Read::Kind::byte || read.byte == '\n')
                break;
            line.push_back(static_cast<char>(read.byte));
        }
        return std::string(trimmed(line));
    }

    void update(DependencyContainer& container) const {
        const UpdateAppRequest request = makeRequest(fetchApp(container).id);
        withFailurePrefix(couldNotUpdate, [&] { container.apiClient().updateApp(request); });
    }

    ServerApp fetchApp(DependencyContainer& container) const {
        const std::string notFound = "App not found: " + bundleId;
        const std::string notLoggedIn = notFound + "\n" + CLIError::notAuthenticated().description();
        if (!container.tokenController().getToken())
            throw Failure(notLoggedIn);
        try {
            return ServerAppRepository(container.apiClient()).fetch(bundleId);
        } catch (const APIError& error) {
            if (error.is<APIError::NotFound>())
                throw Failure(notFound);
            if (error.is<APIError::Unauthorized>())
                throw Failure(notLoggedIn);
            throw Failure(couldNotUpdate + error.description());
        } catch (const HTTPError& error) {
            throw Failure(couldNotUpdate + error.description());
        }
    }

    UpdateAppRequest makeRequest(const UUID& id) const {
        UpdateAppRequest request{.id = id};
        switch (field) {
        case AppField::customDomain: request.customDomain = value; break;
        case AppField::releaseNotesURL: request.fullReleaseNotesURL = parseConfigURL(value); break;
        case AppField::stripeSecretKey: request.stripeSecretKey = value; break;
        case AppField::stripeWebhookSecret: request.stripeWebhookSecret = value; break;
        case AppField::stripeManagedPayments: request.stripeManagedPayments = readBooleanValue(value); break;
        }
        return request;
    }
};

class ConfigSetCommand final : public CommandGroup {
public:
    ConfigSetCommand() {
        add(std::make_unique<ConfigSetReleaseCommand>(), std::make_unique<ConfigSetS3Command>(),
            std::make_unique<ConfigSetAppCommand>());
    }
    std::string_view name() const override { return "set"; }
    std::string_view abstract() const override { return "Set a configuration value"; }
};

} // namespace

std::unique_ptr<Command> makeConfigSetCommand() { return std::make_unique<ConfigSetCommand>(); }

} // namespace halvo
