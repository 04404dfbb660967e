#include "Commands/Commands.h"
#include "Output/FailureReport.h"
#include "Services.h"

#include <Platform/Files.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;

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

std::unique_ptr<Command> makeUninstallCommand(const fs::path& managedPath) {
    return std::make_unique<UninstallCommand>(managedPath);
}

} // namespace halvo
