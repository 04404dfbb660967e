#include "Commands/Release/ReleasePlan.h"

#include "Commands/Release/ReleaseInput.h"

#include <HalvoDMG/Background.h>
#include <HalvoDMG/DMGConfiguration.h>
#include <HalvoDMG/DMGCreationError.h>
#include <HalvoNotarization/CodesigningError.h>

#include <algorithm>

namespace halvo {
namespace {

bool isGiven(const std::optional<std::string>& option) { return option && !option->empty(); }

/// Throws CodesigningError when a disk image should be built and its identity is not on this machine.
void validate(const ReleaseSettings& settings, DistributionTools& tools) {
    if (!settings.dmgEnabled)
        return;
    const std::vector<CodesignIdentity> identities = tools.availableIdentities();
    if (std::ranges::find(identities, settings.codesignIdentity.hash, &CodesignIdentity::hash) ==
        identities.end())
        throw CodesigningError(CodesigningError::IdentityNotFound{settings.codesignIdentity.name});
}

} // namespace

ReleasePlan ReleasePlanner::makePlan(const std::string& bundleIdentifier, bool fromArchive,
                                     const std::optional<ResolvedProvisioningProfile>& profile) const {
    ReleasePlan plan = resolveReleaseSettings(bundleIdentifier);
    if (plan.settings) {
        validate(*plan.settings, tools);
        plan.packageFormat = plan.settings->packageFormat(plan.watermark, plan.background);
    }
    if (fromArchive)
        plan.exportSigning = exportSigning(plan.settings, profile);
    plan.notarizationPolicy = resolvedNotarizationPolicy(plan.settings);
    return plan;
}

ReleasePlan ReleasePlanner::resolveReleaseSettings(const std::string& bundleIdentifier) const {
    const std::optional<ReleaseSettings> stored = storage.getReleaseSettings(bundleIdentifier);
    const bool flagsGiven = isGiven(options.codesignIdentity) || isGiven(options.keychainProfile);
    ReleasePlan plan;
    if (options.noDMG || (!stored && !flagsGiven)) {
        noteIgnoredBackgroundFlag();
        return plan;
    }
    plan.watermark = options.watermark.value_or(stored && stored->showWatermark.value_or(false));
    if (stored && !stored->dmgEnabled && !flagsGiven) {
        noteIgnoredBackgroundFlag();
        plan.settings = stored;
        return plan;
    }
    plan.background = resolveBackground(stored);
    ReleaseSettings settings = stored.value_or(ReleaseSettings());
    settings.codesignIdentity = resolveIdentity(stored);
    if (flagsGiven)
        requireNotarization(stored);
    if (isGiven(options.keychainProfile))
        settings.keychainProfile = *options.keychainProfile;
    settings.dmgEnabled = true;
    plan.settings = settings;
    return plan;
}

/// The flag's identity, looked up by its whole name, else the stored one.
CodesignIdentity ReleasePlanner::resolveIdentity(const std::optional<ReleaseSettings>& stored) const {
    if (!isGiven(options.codesignIdentity)) {
        if (!stored)
            throw CLIError("missing_argument", "--codesign-identity is required for DMG releases");
        return stored->codesignIdentity;
    }
    for (const CodesignIdentity& identity : tools.availableIdentities())
        if (identity.name == *options.codesignIdentity)
            return identity;
    throw CodesigningError(CodesigningError::IdentityNotFound{*options.codesignIdentity});
}

std::optional<URL> ReleasePlanner::resolveBackground(const std::optional<ReleaseSettings>& stored) const {
    std::optional<URL> requested;
    if (isGiven(options.dmgBackground))
        requested = URL::file(expandingTilde(*options.dmgBackground, platform.homeDirectory));
    const std::optional<URL> background = requested || !stored ? requested : stored->dmgBackgroundURL;
    if (!background)
        return std::nullopt;
    try {
        // Found out here, before anything is built.
        const auto fitted = fittedBackground(*background, DMGConfiguration().windowSize(), platform.images);
        if (fitted.retinaWarning)
            context.noora().warning({{.message = *fitted.retinaWarning}});
    } catch (const DMGCreationError& error) {
        throw Failure(error.description() +
                      " The release was stopped so it doesn't ship with the wrong background.");
    }
    return background;
}

void ReleasePlanner::requireNotarization(const std::optional<ReleaseSettings>& stored) const {
    if (options.skipNotarization || isGiven(options.keychainProfile) ||
        (stored && !stored->keychainProfile.empty()))
        return;
    if (!credentials.resolveNotarizationCredentials())
        throw CLIError(
            "missing_argument",
            "No notarization configured for this DMG release. Provide --keychain-profile, ASC API-key "
            "credentials (--asc-api-key-id/--asc-api-issuer/--asc-api-key or "
            "ASC_API_KEY_ID/ASC_API_ISSUER/ASC_API_KEY), or --skip-notarization.");
}

NotarizationPolicy
ReleasePlanner::resolvedNotarizationPolicy(const std::optional<ReleaseSettings>& settings) const {
    if (options.skipNotarization)
        return NotarizationPolicy::skip();
    if (auto key = credentials.resolveNotarizationCredentials())
        return NotarizationPolicy::notarize(std::move(*key));
    return settings ? settings->notarizationPolicy() : NotarizationPolicy::skip();
}

std::optional<ArchiveExporter::Signing>
ReleasePlanner::exportSigning(const std::optional<ReleaseSettings>& settings,
                              const std::optional<ResolvedProvisioningProfile>& profile) const {
    using Signing = ArchiveExporter::Signing;
    if (profile && profile->bundleIdentifier)
        return Signing{
            Signing::Manual{.identity = profile->identity,
                            .provisioningProfiles = {{*profile->bundleIdentifier, profile->specifier}}}};
    if (settings && (isGiven(options.codesignIdentity) || !context.interactive()))
        return Signing{Signing::Manual{.identity = settings->codesignIdentity.name}};
    return std::nullopt;
}

void ReleasePlanner::noteIgnoredBackgroundFlag() const {
    if (options.dmgBackground)
        context.noora().warning(
            {{.message = "--dmg-background was ignored because no DMG will be built for this release."}});
}

std::string notarizationDescription(const NotarizationPolicy& policy) {
    const NotarizationCredentials* credentials = policy.credentials();
    if (credentials == nullptr)
        return "Skipped";
    if (const auto* key = std::get_if<NotarizationCredentials::APIKey>(&credentials->value))
        return "ASC API key (" + key->keyID + ")";
    return std::get<NotarizationCredentials::KeychainProfile>(credentials->value).name;
}

void displayReleaseSettings(const ReleasePlan& plan, const OutputContext& context) {
    if (context.format() != OutputFormat::text)
        return;
    KeyValueRows rows;
    if (plan.packageFormat.isDMG())
        rows = {{"Codesign Identity", TerminalText::secondary(plan.settings->codesignIdentity.name)},
                {"Notarization", notarizationDescription(plan.notarizationPolicy)}};
    else
        rows = {{"Format", "ZIP"}};
    context.noora().print("\n" + TerminalText::section("Release Settings"));
    context.noora().keyValues(rows);
}

} // namespace halvo
