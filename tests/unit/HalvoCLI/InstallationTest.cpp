#include "Commands/Commands.h"
#include "TestServices.h"

#include <Base/Text.h>
#include <Support/ChildProcess.h>

#include <fstream>
#include <functional>

#include <gtest/gtest.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;

/// A machine in a folder: the link that is managed, an executable, and a folder of PATH.
class Machine {
public:
    Machine() { services.platform.executable = executable; }

    std::string run(const std::unique_ptr<Command>& command) {
        services.output->text.clear();
        command->run(services.services);
        return services.output->text;
    }
    std::string install() { return run(makeInstallCommand(managed)); }
    std::string uninstall() { return run(makeUninstallCommand(managed)); }

    fs::path makeExecutable(std::string_view name) const {
        const fs::path file = folder.write(name, "#!/bin/sh\n");
        fs::permissions(file, fs::perms::owner_all | fs::perms::group_exec | fs::perms::others_exec);
        return file;
    }

    test::TemporaryFolder folder;
    fs::path managed = folder / "usr/local/bin/halvo";
    fs::path executable = makeExecutable("opt/halvo/halvo");
    test::TestServices services{{{"PATH", (folder / "bin").string() + ":" + managed.parent_path().string()}}};
};

TEST(Installation, installLinksTheRunningExecutableOnceAndUninstallRemovesTheLink) {
    Machine machine;
    EXPECT_EQ(machine.install(),
              "Installed to " + machine.managed.string() + "\nYou can now run `halvo` from anywhere\n");
    EXPECT_EQ(fs::read_symlink(machine.managed), machine.executable);
    EXPECT_EQ(machine.install(), "Already installed at " + machine.managed.string() + "\n");
    EXPECT_EQ(machine.uninstall(), "Uninstalled from " + machine.managed.string() + "\n");
    EXPECT_FALSE(fs::exists(fs::symlink_status(machine.managed)));
    EXPECT_TRUE(fs::exists(machine.executable));
    EXPECT_EQ(machine.uninstall(), "CLI is not installed at " + machine.managed.string() + "\n");
}

TEST(Installation, changesNothingWhereItCannotInstall) {
    const std::string occupied =
        "Warning: A file already exists at MANAGED\n  Next step: Run `halvo uninstall` first or remove it manually\n";
    const std::pair<std::function<void(Machine&)>, std::string> cases[] = {
        {[](Machine& machine) { machine.makeExecutable("bin/halvo"); },
         "halvo is already available at FOLDER/bin/halvo\nNothing to do.\n"},
        {[](Machine& machine) { machine.makeExecutable("usr/local/bin/halvo"); }, occupied},
        {[](Machine& machine) {
             fs::create_directories(machine.managed.parent_path());
             fs::create_symlink("/nonexistent/halvo", machine.managed);
         },
         occupied},
        {[](Machine& machine) { machine.services.platform.executable += " (deleted)"; },
         "Could not determine executable path\n"},
        {[](Machine& machine) { machine.folder.write("usr/local", ""); },
         "Failed to create directory: Could not create FOLDER/usr/local/bin: Not a directory\n"},
    };
    for (const auto& [prepare, told] : cases) {
        Machine machine;
        prepare(machine);
        std::error_code notThere;
        const auto before = fs::symlink_status(machine.managed, notThere).type();
        const std::string expected = replacingAll(told, "MANAGED", machine.managed.string());
        EXPECT_EQ(machine.install(), replacingAll(expected, "FOLDER", machine.folder.path().string()));
        EXPECT_EQ(fs::symlink_status(machine.managed, notThere).type(), before);
    }
}

/// What `act` gives as a user who may not write to the folder of the managed link.
std::string withoutPermission(Machine& machine, std::string (Machine::*act)()) {
    const fs::path answer = machine.folder.write("answer", "");
    fs::permissions(answer, fs::perms::all);
    fs::permissions(machine.managed.parent_path(), fs::perms{0555});
    const int status = test::ChildProcess::ofOrdinaryUser([&] {
                           std::ofstream(answer) << (machine.*act)();
                           return 0;
                       }).wait();
    fs::permissions(machine.managed.parent_path(), fs::perms{0755});
    EXPECT_EQ(status, 0);
    return test::readText(answer);
}

TEST(Installation, withoutPermissionItSaysHowToGetIt) {
    Machine machine;
    const std::string managed = machine.managed.string();
    fs::create_directories(machine.managed.parent_path());
    EXPECT_EQ(withoutPermission(machine, &Machine::install),
              "Failed to create symlink: Could not create " + managed +
                  ": Permission denied\nTry running with sudo: `sudo " + machine.executable.string() +
                  " install`\n");
    fs::create_symlink(machine.executable, machine.managed);
    EXPECT_EQ(withoutPermission(machine, &Machine::uninstall),
              "Failed to remove symlink: Could not remove " + managed + ": Permission denied\n`sudo rm " +
                  managed + "`\n");
}

} // namespace
} // namespace halvo
