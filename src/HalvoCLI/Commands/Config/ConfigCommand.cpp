#include "Commands/Config/ConfigCommands.h"

#include <Base/Failure.h>
#include <Models/StorageConfiguration.h>

namespace halvo {
namespace {

class ConfigSetCommand final : public CommandGroup {
public:
    ConfigSetCommand() {
        add(makeConfigSetReleaseCommand(), makeConfigSetS3Command(), makeConfigSetAppCommand());
    }
    std::string_view name() const override { return "set"; }
    std::string_view abstract() const override { return "Set a configuration value"; }
};

class ConfigClearCommand final : public CommandGroup {
public:
    ConfigClearCommand() { add(makeConfigClearReleaseCommand()); }
    std::string_view name() const override { return "clear"; }
    std::string_view abstract() const override { return "Clear release configuration for an app"; }
};

class ConfigCommand final : public CommandGroup {
public:
    ConfigCommand() {
        add(makeConfigShowCommand(), std::make_unique<ConfigSetCommand>(),
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

URL parseConfigURL(const std::string& text) {
    const auto url = parseWebAddress(text);
    if (!url)
        throw Failure("Invalid URL: " + text);
    return *url;
}

std::unique_ptr<Command> makeConfigCommand() { return std::make_unique<ConfigCommand>(); }

} // namespace halvo
