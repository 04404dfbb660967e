#include "Commands/Commands.h"

#include <Models/ServiceAddresses.h>

#include <fmt/format.h>

namespace halvo {
namespace {

/// An example of the discussion; its explanation starts at column 39.
std::string example(const char* command, const char* explanation) {
    return fmt::format("  {:<36}{}\n", command, explanation);
}

class RootCommand final : public CommandGroup {
public:
    RootCommand() {
        add(makeAppsCommand(), makeConfigCommand(), makeCreateDMGCommand(), makeExportCommand(),
            makeInstallCommand(), makeLoginCommand(), makeLogoutCommand(), makePostArchiveCommand(),
            makeLicensesCommand(), makeProductsCommand(), makeRegisterCommand(), makeReleaseCommand(),
            makeReleasesCommand(), makeSetupCommand(), makeSignCommand(), makeStatusCommand(),
            makeUninstallCommand(), makeVerifyCommand(), makeWhoamiCommand(), makeDMGTemplateCommand());
    }

    std::string_view name() const override { return "halvo"; }
    std::string_view abstract() const override { return "A utility for publishing Mac apps with Halvo."; }
    std::string_view discussion() const override { return text; }

private:
    std::string text = "Distribute macOS apps with ease. Sign, notarize, and publish releases.\n"
                       "\n"
                       "Quick Start:\n" +
                       example("halvo login", "Sign in to your account") +
                       example("halvo setup MyApp.app", "Set up a new app") +
                       example("halvo release MyApp.app", "Release an app (sign, notarize, upload)") +
                       example("halvo status", "Check CLI setup and auth status") +
                       "\n"
                       "Release from Xcode project:\n" +
                       example("halvo release --scheme MyApp", "Build and release from current directory") +
                       "  halvo release /path/to/App.xcodeproj --scheme MyApp\n"
                       "\n"
                       "Manage apps and releases:\n" +
                       example("halvo apps list", "List all apps") +
                       "  halvo releases list -b com.example.App\n"
                       "  halvo releases update <id> -b com.example.App --published true\n"
                       "\n"
                       "Configure per-app settings:\n"
                       "  halvo config show -b com.example.App\n"
                       "  halvo config set release keychain-profile \"profile\" -b com.example.App\n"
                       "\n"
                       "Learn More:\n"
                       "  " +
                       std::string(helpAddress::commandLine);
};

} // namespace

std::unique_ptr<Command> makeRootCommand() { return std::make_unique<RootCommand>(); }

} // namespace halvo
