#include "Commands/BooleanValue.h"
#include "Commands/Commands.h"
#include "Commands/Release/ReleaseOptions.h"
#include "Commands/Releases/ReleaseTable.h"
#include "Output/FailureReport.h"
#include "Publications.h"
#include "Services.h"

#include <algorithm>

namespace halvo {
namespace {

/// What the commands of this group have in common: an app, the place where it is published, and its releases
/// there.
class ReleasesSubcommand : public Command {
public:
    void run(Services& services) final {
        const auto terminal = services.makeTerminal();
        DependencyContainer container(services.platform);
        endingOnFailure(*terminal, ExitCode::failure, [&] {
            Run run{container, *terminal, services};
            perform(run);
        });
    }

protected:
    struct Run {
        DependencyContainer& container;
        Terminal& terminal;
        Services& services;
        std::unique_ptr<Publication> publication{};

        void warn(const Warnings& lines) const {
            for (const std::string& line : lines)
                services.streams.standardError->write("warning: " + line + "\n");
        }
    };

    virtual void perform(Run& run) = 0;

    void declareApp(CommandArguments& arguments) {
        arguments.requiredOption("-b,--bundle-id", bundleId, bundleIdHelp);
    }
    void declarePlace(CommandArguments& arguments) {
        options.declareKeys(arguments);
        options.bucket.declare(arguments);
    }
    void declareRelease(CommandArguments& arguments) { arguments.positional("id", id, "Release ID (UUID)"); }

    Publication::Listing fetchReleases(Run& run) const {
        run.publication = openPublication({bundleId}, options, {}, run.container, run.terminal).publication;
        return run.terminal.wait("Fetching the releases", [&] { return run.publication->list(); });
    }

    /// Throws Failure when `id` is not a UUID.
    UUID releaseID() const {
        const auto parsed = UUID::parse(id);
        if (!parsed)
            throw Failure("Invalid release ID: " + id);
        return *parsed;
    }

    /// The release of `id`; absent when the app has none with it. A failure to look gets `prefix`.
    std::optional<Release> findRelease(Run& run, const UUID& wanted, const std::string& prefix) const {
        const auto listing = withFailurePrefix(prefix, [&] { return fetchReleases(run); });
        const auto found = std::ranges::find(listing.releases, wanted, &Release::id);
        return found == listing.releases.end() ? std::nullopt : std::optional(*found);
    }

    Failure notFound(const UUID& wanted) const {
        return Failure("Release " + wanted.string() + " not found for " + bundleId);
    }

    std::string bundleId{};

private:
    std::string id{};
    PublicationOptions options{};
};

class ReleasesListCommand final : public ReleasesSubcommand {
public:
    std::string_view name() const override { return "list"; }
    std::string_view abstract() const override { return "List releases for an app"; }
    void declare(CommandArguments& arguments) override {
        declareApp(arguments);
        declarePlace(arguments);
    }

private:
    void perform(Run& run) override {
        const auto listing =
            withFailurePrefix("Failed to fetch releases: ", [&] { return fetchReleases(run); });
        if (listing.releases.empty())
            run.terminal.print("No releases found for " + bundleId);
        else
            run.terminal.table(releaseTable(sortedByBundleVersion(listing.releases)));
        run.warn(listing.unread);
    }
};

class ReleasesUpdateCommand final : public ReleasesSubcommand {
public:
    std::string_view name() const override { return "update"; }
    std::string_view abstract() const override { return "Update release metadata"; }
    void declare(CommandArguments& arguments) override {
        declareRelease(arguments);
        declareApp(arguments);
        arguments.option("--published", published, "Set published state (true/false)");
        arguments.option("--channel", channel,
                         "Set the release channel (e.g. beta). Empty string clears to the stable channel.");
        arguments.option("--beta", beta, "[Deprecated] Use --channel. Set beta state (true/false)");
        arguments.option("--critical", critical, "Set critical state (true/false)");
        arguments.option("--phased-rollout", phasedRollout, "Set phased rollout state (true/false)");
        arguments.option("--release-notes", releaseNotes, "Set release notes text");
        declarePlace(arguments);
    }

private:
    void perform(Run& run) override {
        if (beta)
            run.services.streams.standardError->write(
                "warning: --beta is deprecated; use --channel instead.\n");
        if (!published && !channel && !beta && !critical && !phasedRollout && !releaseNotes)
            throw Failure("No changes specified. Use --published, --channel, --critical, --phased-rollout, "
                          "or --release-notes.");
        const UUID wanted = releaseID();
        ReleaseChanges changes = readChanges();
        const std::string prefix = "Failed to update release: ";
        const auto release = findRelease(run, wanted, prefix);
        if (!release)
            throw notFound(wanted);
        if (beta && !readBooleanValue(*beta) && !channel && release->isBeta())
            changes.channel = std::optional<std::string>();
        const Warnings warnings = withFailurePrefix(prefix, [&] {
            return run.terminal.wait("Updating the release",
                                     [&] { return run.publication->update(*release, changes); });
        });
        run.terminal.print("Updated release " + wanted.string());
        run.warn(warnings);
    }

    ReleaseChanges readChanges() const {
        ReleaseChanges changes{.isPublished = readOption(published),
                               .isCritical = readOption(critical),
                               .isPhasedRollout = readOption(phasedRollout),
                               .releaseNotes = releaseNotes};
        const auto isBeta = readOption(beta);
        const auto resolved = resolveChannel(channel, isBeta.value_or(false));
        if (channel || isBeta.value_or(false))
            changes.channel = resolved;
        if (isBeta == false && resolved == "beta")
            throw CLIError("invalid_argument", "--channel beta conflicts with --beta false. Pass only one.");
        return changes;
    }

    static std::optional<bool> readOption(const std::optional<std::string>& text) {
        return text ? std::optional(readBooleanValue(*text)) : std::nullopt;
    }

    std::optional<std::string> published{};
    std::optional<std::string> channel{};
    std::optional<std::string> beta{};
    std::optional<std::string> critical{};
    std::optional<std::string> phasedRollout{};
    std::optional<std::string> releaseNotes{};
};

class ReleasesDeleteCommand final : public ReleasesSubcommand {
public:
    std::string_view name() const override { return "delete"; }
    std::string_view abstract() const override { return "Delete a release"; }
    void declare(CommandArguments& arguments) override {
        declareRelease(arguments);
        declareApp(arguments);
        arguments.flag("--yes", yes, "Skip confirmation prompt");
        declarePlace(arguments);
    }

private:
    void perform(Run& run) override {
        const UUID wanted = releaseID();
        const std::string prefix = "Failed to delete release: ";
        const auto release = findRelease(run, wanted, prefix);
        if (!release)
            throw notFound(wanted);
        const std::string version = release->versionDescription();
        if (!yes &&
            !run.terminal.yesOrNoChoicePrompt({.question = "Delete release " + version + "?",
                                               .defaultAnswer = false,
                                               .hint = "Pass --yes to delete it without being asked."})) {
            run.terminal.print("Cancelled.");
            return;
        }
        const Warnings warnings = withFailurePrefix(prefix, [&] {
            return run.terminal.wait("Deleting the release",
                                     [&] { return run.publication->remove(*release); });
        });
        run.terminal.print("Deleted release " + version);
        run.warn(warnings);
    }

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
