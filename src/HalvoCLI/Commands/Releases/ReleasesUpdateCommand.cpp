#include "Commands/BooleanValue.h"
#include "Commands/Release/ReleaseInput.h"
#include "Commands/Releases/ReleasesCommands.h"
#include "Output/FailureReport.h"
#include "Services.h"

namespace halvo {
namespace {

/// The options of `releases update` after they have been read.
struct ReleaseChanges {
    std::optional<bool> isPublished{};
    std::optional<bool> isCritical{};
    std::optional<bool> isPhasedRollout{};
    std::optional<bool> isBeta{};
    bool changesChannel = false;
    std::optional<std::string> channel{}; ///< the new channel; absent: the stable one
    std::optional<std::string> releaseNotes{};

    Release appliedTo(Release release) const {
        release.isPublished = isPublished.value_or(release.isPublished);
        release.isCritical = isCritical.value_or(release.isCritical);
        release.isPhasedRollout = isPhasedRollout.value_or(release.isPhasedRollout);
        if (changesChannel)
            release.channel = channel;
        else if (isBeta == false && release.isBeta())
            release.channel.reset();
        release.releaseNotes = releaseNotes.value_or(release.releaseNotes);
        return release;
    }
};

std::optional<bool> readOption(const std::optional<std::string>& text) {
    return text ? std::optional(readBooleanValue(*text)) : std::nullopt;
}

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

    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        if (beta)
            services.streams.standardError->write("warning: --beta is deprecated; use --channel instead.\n");
        DependencyContainer container(services.platform);
        endingOnFailure(*terminal, ExitCode::failure, [&] { update(container, *terminal); });
    }

private:
    void update(DependencyContainer& container, Terminal& terminal) const {
        if (!published && !channel && !beta && !critical && !phasedRollout && !releaseNotes)
            throw Failure("No changes specified. Use --published, --channel, --critical, --phased-rollout, "
                          "or --release-notes.");
        const UUID releaseID = parseReleaseID(id);
        const ReleaseChanges changes = readChanges();
        const bool updated = withFailurePrefix("Failed to update release: ", [&] {
            const auto found = findRelease(releaseID, bundleId, container, terminal);
            if (found)
                terminal.wait("Updating the release",
                              [&] { found->repository->update(changes.appliedTo(found->release)); });
            return found.has_value();
        });
        if (!updated)
            throw releaseNotFound(releaseID, bundleId);
        terminal.print("Updated release " + releaseID.string());
    }

    ReleaseChanges readChanges() const {
        ReleaseChanges changes{.isPublished = readOption(published),
                               .isCritical = readOption(critical),
                               .isPhasedRollout = readOption(phasedRollout),
                               .isBeta = readOption(beta),
                               .releaseNotes = releaseNotes};
        const bool toBeta = changes.isBeta == true;
        changes.changesChannel = channel || toBeta;
        changes.channel = resolveChannel(channel, toBeta);
        if (changes.isBeta == false && changes.channel == "beta")
            throw CLIError("invalid_argument", "--channel beta conflicts with --beta false. Pass only one.");
        return changes;
    }

    std::string id{};
    std::string bundleId{};
    std::optional<std::string> published{};
    std::optional<std::string> channel{};
    std::optional<std::string> beta{};
    std::optional<std::string> critical{};
    std::optional<std::string> phasedRollout{};
    std::optional<std::string> releaseNotes{};
};

} // namespace

std::unique_ptr<Command> makeReleasesUpdateCommand() { return std::make_unique<ReleasesUpdateCommand>(); }

} // namespace halvo
