#include "Commands/BooleanValue.h"
#include "Commands/Config/ConfigCommands.h"
#include "Commands/Release/ReleaseInput.h"
#include "Output/FailureReport.h"
#include "Services.h"

#include <HalvoCore/StorageController.h>
#include <HalvoDMG/Background.h>
#include <HalvoDMG/DMGConfiguration.h>
#include <HalvoNotarization/Codesigner.h>

namespace halvo {
namespace {

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

} // namespace

std::unique_ptr<Command> makeConfigSetReleaseCommand() { return std::make_unique<ConfigSetReleaseCommand>(); }

} // namespace halvo
