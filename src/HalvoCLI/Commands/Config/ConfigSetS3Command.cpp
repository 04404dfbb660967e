#include "Commands/Config/ConfigCommands.h"
#include "DependencyContainer.h"
#include "Output/FailureReport.h"
#include "Services.h"

namespace halvo {
namespace {

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

} // namespace

std::unique_ptr<Command> makeConfigSetS3Command() { return std::make_unique<ConfigSetS3Command>(); }

} // namespace halvo
