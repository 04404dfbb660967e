#include "Commands/Releases/ReleasesCommands.h"
#include "Output/FailureReport.h"
#include "Services.h"

namespace halvo {
namespace {

const std::string couldNotDelete = "Failed to delete release: ";

class ReleasesDeleteCommand final : public Command {
public:
    std::string_view name() const override { return "delete"; }
    std::string_view abstract() const override { return "Delete a release"; }
    void declare(CommandArguments& arguments) override {
        arguments.positional("id", id, "Release ID (UUID)");
        arguments.requiredOption("-b,--bundle-id", bundleId, bundleIdHelp);
        arguments.flag("--yes", yes, "Skip confirmation prompt");
    }

    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        DependencyContainer container(services.platform);
        endingOnFailure(*terminal, ExitCode::failure, [&] { remove(container, *terminal); });
    }

private:
    void remove(DependencyContainer& container, Terminal& terminal) const {
        const UUID releaseID = parseReleaseID(id);
        const auto found = withFailurePrefix(
            couldNotDelete, [&] { return findRelease(releaseID, bundleId, container, terminal); });
        if (!found)
            throw releaseNotFound(releaseID, bundleId);
        const std::string version = found->release.versionDescription();
        if (!yes && !terminal.yesOrNoChoicePrompt({.question = "Delete release " + version + "?",
                                                   .defaultAnswer = false,
                                                   .hint = "Pass --yes to delete it without being asked."})) {
            terminal.print("Cancelled.");
            return;
        }
        withFailurePrefix(couldNotDelete, [&] {
            terminal.wait("Deleting the release", [&] { found->repository->remove(found->release); });
        });
        terminal.print("Deleted release " + version);
    }

    std::string id{};
    std::string bundleId{};
    bool yes = false;
};

} // namespace

std::unique_ptr<Command> makeReleasesDeleteCommand() { return std::make_unique<ReleasesDeleteCommand>(); }

} // namespace halvo
