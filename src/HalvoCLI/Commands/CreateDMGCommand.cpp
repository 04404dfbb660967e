#include "Commands/Commands.h"
#include "Commands/Unavailable.h"

namespace halvo {
namespace {

class CreateDMGCommand final : public Command {
public:
    std::string_view name() const override { return "create-dmg"; }
    std::string_view abstract() const override {
        return "Create a DMG disk image from an app bundle (no upload)";
    }
    void declare(CommandArguments& arguments) override {
        arguments.positional("app-path", appPath, "Path to the .app bundle");
        arguments.option("--output", output, "Output path for the DMG file");
        arguments.flag("--open", open, "Open the DMG after creation");
        arguments.option("--codesign-identity", codesignIdentity, "Code signing identity");
        arguments.option("--keychain-profile", keychainProfile, "Notarization keychain profile");
        arguments.flag("--skip-notarization", skipNotarization,
                       "Skip notarization (not recommended for public distribution)");
        arguments.invertibleFlag("--watermark", "--no-watermark", watermark,
                                 "Keep or remove the watermark line of the generated background");
        arguments.option(
            "--background", background,
            "Custom background image (PNG, JPG, or TIFF). Overrides the stored dmg-background config.");
    }
    void run(Services& services) override { reportUnavailable(services, "create-dmg"); }

private:
    std::string appPath{};
    std::optional<std::string> output{};
    bool open = false;
    std::optional<std::string> codesignIdentity{};
    std::optional<std::string> keychainProfile{};
    bool skipNotarization = false;
    std::optional<bool> watermark{};
    std::optional<std::string> background{};
};

} // namespace

std::unique_ptr<Command> makeCreateDMGCommand() { return std::make_unique<CreateDMGCommand>(); }

} // namespace halvo
