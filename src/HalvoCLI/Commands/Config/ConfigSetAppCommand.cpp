#include "Commands/BooleanValue.h"
#include "Commands/Config/ConfigCommands.h"
#include "Commands/Config/MaskedSecret.h"
#include "DependencyContainer.h"
#include "Output/FailureReport.h"
#include "Services.h"

#include <HalvoCore/ServerAppRepository.h>

namespace halvo {
namespace {

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

} // namespace

std::unique_ptr<Command> makeConfigSetAppCommand() { return std::make_unique<ConfigSetAppCommand>(); }

} // namespace halvo
