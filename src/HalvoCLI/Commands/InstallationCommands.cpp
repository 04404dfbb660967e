#include "CLIInstallLocator.h"
#include "Commands/Commands.h"
#include "Output/FailureReport.h"
#include "Services.h"

#include <Platform/Files.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;

class InstallCommand final : public Command {
public:
    explicit InstallCommand(fs::path managedPath) : managedPath(std::move(managedPath)) {}

    std::string_view name() const override { return "install"; }
    std::string_view abstract() const override { return "Install CLI to /usr/local/bin/halvo"; }

    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        const Platform& platform = services.platform;
        if (const auto other = otherInstallation(platform)) {
            terminal->print("halvo is already available at " + TerminalText::path(*other));
            terminal->print("Nothing to do.");
            return;
        }
        std::error_code failed;
        const fs::path& executable = platform.executable;
        if (!fs::is_regular_file(executable, failed)) { // replaced or removed while it runs
            terminal->print(TerminalText::danger("Could not determine executable path"));
            return;
        }
        if (fs::is_symlink(managedPath, failed) && fs::equivalent(managedPath, executable, failed)) {
            terminal->print("Already installed at " + TerminalText::path(managedPath.string()));
            return;
        }
        if (fs::exists(fs::symlink_status(managedPath, failed))) {
            terminal->warning(
                {{.message = "A file already exists at " + TerminalText::path(managedPath.string()),
                  .nextSteps = {"Run " + TerminalText::command("halvo uninstall") +
                                " first or remove it manually"}}});
            return;
        }
        if (reportingFailure(*terminal, "Failed to create directory: ", [&] { createFolder(); }))
            link(*terminal, executable);
    }

private:
    /// The first `halvo` on the search path that is not the one of this command.
    std::optional<std::string> otherInstallation(const Platform& platform) const {
        const auto environment =
            CLIInstallLocator::Environment::live(platform.environment, platform.homeDirectory);
        for (const FoundCLI& found :
             CLIInstallLocator::findAll(environment, CLIInstallLocator::FileProbe::live()))
            if (found.path.filePath() != managedPath)
                return found.path.filePath().string();
        return std::nullopt;
    }

    void createFolder() const {
        std::error_code failed;
        fs::create_directories(managedPath.parent_path(), failed);
        if (failed)
            throw FileError("create", managedPath.parent_path(), failed.value());
    }

    void link(Terminal& terminal, const fs::path& executable) const {
        const bool linked = reportingFailure(terminal, "Failed to create symlink: ", [&] {
            std::error_code failed;
            fs::create_symlink(executable, managedPath, failed);
            if (failed)
                throw FileError("create", managedPath, failed.value());
        });
        if (!linked) {
            terminal.print("Try running with sudo: " +
                           TerminalText::command("sudo " + executable.string() + " install"));
            return;
        }
        terminal.print("Installed to " + TerminalText::path(managedPath.string()));
        terminal.print("You can now run " + TerminalText::command("halvo") + " from anywhere");
    }

    fs::path managedPath;
};

class UninstallCommand final : public Command {
public:
    explicit UninstallCommand(fs::path managedPath) : managedPath(std::move(managedPath)) {}

    std::string_view name() const override { return "uninstall"; }
    std::string_view abstract() const override { return "Remove CLI from /usr/local/bin/halvo"; }

    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        std::error_code failed;
        if (!fs::is_symlink(managedPath, failed)) {
            terminal->print("CLI is not installed at " + TerminalText::path(managedPath.string()));
            return;
        }
        const bool removed = reportingFailure(*terminal, "Failed to remove symlink: ", [&] {
            fs::remove(managedPath, failed);
            if (failed)
                throw FileError("remove", managedPath, failed.value());
        });
        if (removed)
            terminal->print("Uninstalled from " + TerminalText::path(managedPath.string()));
        else
            terminal->print(TerminalText::command("sudo rm " + managedPath.string()));
    }

private:
    fs::path managedPath;
};

} // namespace

std::unique_ptr<Command> makeInstallCommand(const fs::path& managedPath) {
    return std::make_unique<InstallCommand>(managedPath);
}
std::unique_ptr<Command> makeUninstallCommand(const fs::path& managedPath) {
    return std::make_unique<UninstallCommand>(managedPath);
}

} // namespace halvo
