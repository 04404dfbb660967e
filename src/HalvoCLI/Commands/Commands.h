#pragma once

#include "CLIInstallLocator.h"
#include "CommandLine/Command.h"

#include <filesystem>
#include <memory>

namespace halvo {

/// The whole tree: `halvo` with every command below it, in the order of the help.
std::unique_ptr<Command> makeRootCommand();

std::unique_ptr<Command> makeAppsCommand();
std::unique_ptr<Command> makeConfigCommand();
std::unique_ptr<Command> makeCreateDMGCommand();
std::unique_ptr<Command> makeExportCommand();
std::unique_ptr<Command>
makeInstallCommand(const std::filesystem::path& managedPath = CLIInstallLocator::appManagedPath);
std::unique_ptr<Command> makeLoginCommand();
std::unique_ptr<Command> makeLogoutCommand();
std::unique_ptr<Command> makePostArchiveCommand();
std::unique_ptr<Command> makeLicensesCommand();
std::unique_ptr<Command> makeProductsCommand();
std::unique_ptr<Command> makeRegisterCommand();
std::unique_ptr<Command> makeReleaseCommand();
std::unique_ptr<Command> makeReleasesCommand();
std::unique_ptr<Command> makeSetupCommand();
std::unique_ptr<Command> makeSignCommand();
std::unique_ptr<Command> makeStatusCommand();
std::unique_ptr<Command>
makeUninstallCommand(const std::filesystem::path& managedPath = CLIInstallLocator::appManagedPath);
std::unique_ptr<Command> makeVerifyCommand();
std::unique_ptr<Command> makeWhoamiCommand();
std::unique_ptr<Command> makeDMGTemplateCommand();

inline constexpr const char* bundleIdHelp = "Bundle identifier of the app";

} // namespace halvo
