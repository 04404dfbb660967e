#include "Commands/BooleanValue.h"
#include "Commands/Config/ConfigCommands.h"
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
            const UpdateAppRequest request = makeRequest(fetchApp(container).id);
            withFailurePrefix(couldNotUpdate, [&] { container.apiClient().updateApp(request); });
            terminal->print("Set app." + wordOf(field) + " to " + value);
        });
    }

private:
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
