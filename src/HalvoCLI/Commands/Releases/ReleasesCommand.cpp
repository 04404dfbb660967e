#include "Commands/Releases/ReleasesCommands.h"

#include "Commands/Releases/ReleaseTable.h"
#include "Output/FailureReport.h"
#include "ReleaseRepositories.h"
#include "Services.h"

#include <algorithm>

namespace halvo {
namespace {

class ReleasesListCommand final : public Command {
public:
    std::string_view name() const override { return "list"; }
    std::string_view abstract() const override { return "List releases for an app"; }
    void declare(CommandArguments& arguments) override {
        arguments.requiredOption("-b,--bundle-id", bundleId, bundleIdHelp);
    }

    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        DependencyContainer container(services.platform);
        endingOnFailure(*terminal, ExitCode::failure, [&] {
            const std::vector<Release> releases = withFailurePrefix("Failed to fetch releases: ", [&] {
                return terminal->wait(fetchingReleases, [&] { return fetchReleases(bundleId, container); });
            });
            if (releases.empty())
                terminal->print("No releases found for " + bundleId);
            else
                terminal->table(releaseTable(sortedByBundleVersion(releases)));
        });
    }

private:
    std::string bundleId{};
};

class ReleasesCommand final : public CommandGroup {
public:
    ReleasesCommand() {
        add(std::make_unique<ReleasesListCommand>(), makeReleasesUpdateCommand(),
            makeReleasesDeleteCommand());
    }
    std::string_view name() const override { return "releases"; }
    std::string_view abstract() const override { return "Manage releases"; }
    std::string_view discussion() const override {
        return "List, update, and delete releases for your apps.\n"
               "\n"
               "  halvo releases list -b com.example.App\n"
               "  halvo releases update <id> -b com.example.App --published true\n"
               "  halvo releases delete <id> -b com.example.App";
    }
};

} // namespace

UUID parseReleaseID(const std::string& text) {
    const auto id = UUID::parse(text);
    if (!id)
        throw Failure("Invalid release ID: " + text);
    return *id;
}

std::optional<FoundRelease> findRelease(const UUID& id, const std::string& bundleIdentifier,
                                        DependencyContainer& services, Terminal& terminal) {
    std::unique_ptr<ReleaseRepository> repository;
    std::vector<Release> releases = terminal.wait(fetchingReleases, [&] {
        repository = resolveReleaseRepository(bundleIdentifier, services);
        return repository->list();
    });
    const auto found = std::ranges::find(releases, id, &Release::id);
    if (found == releases.end())
        return std::nullopt;
    return FoundRelease{std::move(repository), std::move(*found)};
}

Failure releaseNotFound(const UUID& id, const std::string& bundleIdentifier) {
    return Failure("Release " + id.string() + " not found for " + bundleIdentifier);
}

std::unique_ptr<Command> makeReleasesCommand() { return std::make_unique<ReleasesCommand>(); }

} // namespace halvo
