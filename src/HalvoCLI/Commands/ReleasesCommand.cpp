#include "Commands/Commands.h"
#include "Commands/Unavailable.h"

namespace halvo {
namespace {

class ReleasesListCommand final : public Command {
public:
    std::string_view name() const override { return "list"; }
    std::string_view abstract() const override { return "List releases for an app"; }
    void declare(CommandArguments& arguments) override {
        arguments.requiredOption("-b,--bundle-id", bundleId, bundleIdHelp);
    }
    void run(Services& services) override { reportUnavailable(services, "releases list"); }

private:
    std::string bundleId{};
};

class ReleasesUpdateCommand final : public Command {
public:
    std::string_view name() const override { return "update"; }
    std::string_view abstract() const override { return "Update release metadata"; }
    void declare(CommandArguments& arguments) override {
        arguments.positional("id", id, "Release ID (UUID)");
        arguments.requiredOption("-b,--bundle-id", bundleId, bundleIdHelp);
        arguments.option("--published", published, "Set published state (true/false)");
        arguments.option("--channel", channel,
                         "Set the release channel (e.g. beta). Empty string clears to the stable channel.");
        arguments.option("--beta", beta, "[Deprecated] Use --channel. Set beta state (true/false)");
        arguments.option("--critical", critical, "Set critical state (true/false)");
        arguments.option("--phased-rollout", phasedRollout, "Set phased rollout state (true/false)");
        arguments.option("--release-notes", releaseNotes, "Set release notes text");
    }
    void run(Services& services) override { reportUnavailable(services, "releases update"); }

private:
    std::string id{};
    std::string bundleId{};
    std::optional<std::string> published{};
    std::optional<std::string> channel{};
    std::optional<std::string> beta{};
    std::optional<std::string> critical{};
    std::optional<std::string> phasedRollout{};
    std::optional<std::string> releaseNotes{};
};

class ReleasesDeleteCommand final : public Command {
public:
    std::string_view name() const override { return "delete"; }
    std::string_view abstract() const override { return "Delete a release"; }
    void declare(CommandArguments& arguments) override {
        arguments.positional("id", id, "Release ID (UUID)");
        arguments.requiredOption("-b,--bundle-id", bundleId, bundleIdHelp);
        arguments.flag("--yes", yes, "Skip confirmation prompt");
    }
    void run(Services& services) override { reportUnavailable(services, "releases delete"); }

private:
    std::string id{};
    std::string bundleId{};
    bool yes = false;
};

class ReleasesCommand final : public CommandGroup {
public:
    ReleasesCommand() {
        add(std::make_unique<ReleasesListCommand>(), std::make_unique<ReleasesUpdateCommand>(),
            std::make_unique<ReleasesDeleteCommand>());
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

std::unique_ptr<Command> makeReleasesCommand() { return std::make_unique<ReleasesCommand>(); }

} // namespace halvo
