#include "Commands/Config/ConfigCommands.h"
#include "Output/FailureReport.h"
#include "Services.h"

#include <HalvoCore/StorageController.h>

namespace halvo {
namespace {

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

} // namespace

std::unique_ptr<Command> makeConfigClearReleaseCommand() {
    return std::make_unique<ConfigClearReleaseCommand>();
}

} // namespace halvo
