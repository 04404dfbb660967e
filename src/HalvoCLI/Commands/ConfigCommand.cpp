#include "Commands/Commands.h"
#include "Commands/Unavailable.h"

#include <algorithm>

namespace halvo {
namespace {

std::function<std::optional<std::string>(const std::string&)> oneOf(std::vector<std::string> values) {
    return [values = std::move(values)](const std::string& text) -> std::optional<std::string> {
        if (std::find(values.begin(), values.end(), text) == values.end())
            return std::nullopt;
        return text;
    };
}

class ConfigShowCommand final : public Command {
public:
    std::string_view name() const override { return "show"; }
    std::string_view abstract() const override { return "Show configuration values for an app"; }
    void declare(CommandArguments& arguments) override {
        arguments.requiredOption("-b,--bundle-id", bundleId, bundleIdHelp);
        arguments.typedOption<std::string>("--section", section,
                                           "Section to show (release, s3, app). Shows all if omitted.",
                                           oneOf({"release", "s3", "app"}), {"release", "s3", "app"});
    }
    void run(Services& services) override { reportUnavailable(services, "config show"); }

private:
    std::string bundleId{};
    std::optional<std::string> section{};
};

class ConfigSetReleaseCommand final : public Command {
public:
    std::string_view name() const override { return "release"; }
    std::string_view abstract() const override { return "Set a release configuration value"; }
    void declare(CommandArguments& arguments) override {
        arguments.positional("field", field,
                             "Field to set (codesign-identity, keychain-profile, dmg-enabled, "
                             "show-watermark, dmg-background)");
        arguments.positional("value", value, "Value to set");
        arguments.requiredOption("-b,--bundle-id", bundleId, bundleIdHelp);
    }
    void run(Services& services) override { reportUnavailable(services, "config set release"); }

private:
    std::string field{};
    std::string value{};
    std::string bundleId{};
};

class ConfigSetS3Command final : public Command {
public:
    std::string_view name() const override { return "s3"; }
    std::string_view abstract() const override { return "Set an S3 storage configuration value"; }
    void declare(CommandArguments& arguments) override {
        arguments.positional(
            "field", field, "Field to set (bucket, region, endpoint, path-prefix, public-url, appcast-path)");
        arguments.positional("value", value, "Value to set");
        arguments.requiredOption("-b,--bundle-id", bundleId, bundleIdHelp);
    }
    void run(Services& services) override { reportUnavailable(services, "config set s3"); }

private:
    std::string field{};
    std::string value{};
    std::string bundleId{};
};

class ConfigSetAppCommand final : public Command {
public:
    std::string_view name() const override { return "app"; }
    std::string_view abstract() const override { return "Set a server app configuration value"; }
    void declare(CommandArguments& arguments) override {
        arguments.positional(
            "field", field,
            "Field to set (custom-domain, release-notes-url, stripe-secret-key, stripe-webhook-secret, "
            "stripe-managed-payments)");
        arguments.positional("value", value, "Value to set");
        arguments.requiredOption("-b,--bundle-id", bundleId, bundleIdHelp);
    }
    void run(Services& services) override { reportUnavailable(services, "config set app"); }

private:
    std::string field{};
    std::string value{};
    std::string bundleId{};
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

class ConfigClearReleaseCommand final : public Command {
public:
    std::string_view name() const override { return "release"; }
    std::string_view abstract() const override { return "Clear release configuration for an app"; }
    void declare(CommandArguments& arguments) override {
        arguments.requiredOption("-b,--bundle-id", bundleId, bundleIdHelp);
    }
    void run(Services& services) override { reportUnavailable(services, "config clear release"); }

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
        add(std::make_unique<ConfigShowCommand>(), std::make_unique<ConfigSetCommand>(),
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

std::unique_ptr<Command> makeConfigCommand() { return std::make_unique<ConfigCommand>(); }

} // namespace halvo
