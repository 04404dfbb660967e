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
            terminal->print("Set s3." + wordOf(field) + " to " + value);
        });
    }

private:
    /// The configuration with the one field replaced.
    S3Configuration changed(S3Configuration configuration) const {
        switch (field) {
        case S3Field::bucket: configuration.bucket = value; break;
        case S3Field::region: configuration.region = value; break;
        case S3Field::endpoint: configuration.endpoint = parseConfigURL(value); break;
        case S3Field::pathPrefix: configuration.pathPrefix = value; break;
        case S3Field::publicBaseURL: configuration.publicBaseURL = parseConfigURL(value); break;
        case S3Field::appcastPath: configuration.appcastPath = value; break;
        }
        if (!configuration.isValid())
            throw Failure("Invalid S3 configuration. Bucket and public URL are required.");
        return configuration;
    }
};

} // namespace

std::unique_ptr<Command> makeConfigSetS3Command() { return std::make_unique<ConfigSetS3Command>(); }

} // namespace halvo
