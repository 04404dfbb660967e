#include "Commands/Release/ReleaseOptions.h"

#include "Output/CLIError.h"

#include <Base/Text.h>
#include <Models/Channel.h>

namespace halvo {

std::optional<BuildNumber> BuildNumber::parse(const std::string& argument) {
    const std::string text = lowercased(argument);
    if (text == "auto")
        return BuildNumber{Auto{}};
    if (text == "timestamp")
        return BuildNumber{Timestamp{}};
    const auto value = parseInteger(text);
    if (!value || *value <= 0)
        return std::nullopt;
    return BuildNumber{Explicit{*value}};
}

std::optional<std::int64_t> BuildNumber::resolve(Date now) const {
    if (const auto* number = std::get_if<Explicit>(&kind))
        return number->value;
    if (std::holds_alternative<Timestamp>(kind))
        return parseInteger(formatTimestamp(now));
    return std::nullopt;
}

void ReleaseOptions::declare(CommandArguments& arguments) {
    arguments.positional("path", path,
                         "Path to app bundle, DMG, ZIP, Xcode archive, Xcode project, or Xcode workspace");
    arguments.option("--scheme", scheme, "Scheme to build (required for Xcode projects/workspaces)");
    arguments.option("--release-notes", releaseNotes, "Release notes");
    arguments.option("--channel", channel,
                     "Publish to a named channel (e.g. beta). Omit for the stable channel.");
    arguments.flag("--beta", beta, "[Deprecated] Shorthand for --channel beta. Mark as a beta release.");
    arguments.flag("--phased-rollout", phasedRollout, "Enable phased rollout");
    arguments.flag("--critical", critical, "Mark as a critical update");
    arguments.flag("--draft", draft, "Create as draft (not published)");
    arguments.option("--codesign-identity", codesignIdentity,
                     "Codesign identity name (e.g., 'Developer ID Application: Company (TeamID)')");
    arguments.option("--keychain-profile", keychainProfile, "Keychain profile for notarization");
    arguments.flag("--no-dmg", noDMG, "Output as ZIP instead of DMG (skips codesigning and notarization)");
    arguments.invertibleFlag("--watermark", "--no-watermark", watermark,
                             "Keep or remove the service's watermark on the DMG");
    arguments.option(
        "--dmg-background", dmgBackground,
        "Custom DMG background image (PNG, JPG, or TIFF). Overrides the stored dmg-background config.");
    arguments.flag("--skip-notarization", skipNotarization,
                   "Skip notarization (not recommended for public distribution)");
    arguments.option("-o,--output", output, "Output directory for the built artifact (skips upload)");
    publication.declareKeys(arguments);
    publication.bucket.declare(arguments);
    arguments.flag("--adopt-feed", adoptFeed,
                   "Take over a feed that has another app's name, once, for an app that was renamed");
    arguments.typedOption<OutputFormat>("--format", format, "Output format (text, json)", parseOutputFormat,
                                        "text", outputFormatNames());
    arguments.option("--sparkle-private-key", sparklePrivateKey,
                     "Sparkle EdDSA private key, base64 (or set SPARKLE_PRIVATE_KEY)");
    arguments.option("--asc-api-key-id", ascAPIKeyID,
                     "App Store Connect API key ID for notarization and provisioning (or ASC_API_KEY_ID)");
    arguments.option("--asc-api-issuer", ascAPIIssuer,
                     "App Store Connect API issuer ID for notarization and provisioning (or ASC_API_ISSUER)");
    arguments.option(
        "--asc-api-key", ascAPIKey,
        "App Store Connect API key, base64 .p8, for notarization and provisioning (or ASC_API_KEY)");
    arguments.option(
        "--provisioning-profile", provisioningProfile,
        "Provisioning profile (.provisionprofile) for offline signing when entitlements require one, "
        "e.g. Associated Domains (or set HALVO_PROVISIONING_PROFILE, base64). Requires an Xcode "
        "project, workspace, or archive.");
    arguments.typedOption<BuildNumber>(
        "--build-number", buildNumber,
        "Build number: a positive integer, 'timestamp' for yyyyMMddHHmmss in UTC, or 'auto' for one past the "
        "highest "
        "released build number. Requires building from an Xcode project or workspace.",
        BuildNumber::parse, {"a positive integer", "'timestamp'", "'auto'"});
    arguments.option(
        "--marketing-version", marketingVersion,
        "Marketing version (CFBundleShortVersionString), e.g. 1.2.3. Requires building from an Xcode "
        "project or workspace.");
    arguments.option(
        "--bundle-id", bundleId,
        "App bundle identifier, e.g. com.example.app. Skips the xcodebuild query that otherwise reads it "
        "from the scheme when resolving --build-number auto. Requires building from an Xcode project or "
        "workspace.");
    arguments.flag("--non-interactive", nonInteractive,
                   "Fail instead of prompting; auto-enabled when CI is set");
}

ReleaseConfiguration releaseConfiguration(const ReleaseOptions& options,
                                          const std::optional<std::string>& channel) {
    return {.releaseNotes = options.releaseNotes.value_or(""),
            .channel = channel,
            .isPhasedRollout = options.phasedRollout,
            .isCritical = options.critical,
            .isPublished = !options.draft};
}

std::optional<std::string> resolveChannel(const std::optional<std::string>& channel, bool beta) {
    std::optional<std::string> resolved;
    if (channel)
        resolved = Channel::normalize(*channel);
    if (!beta)
        return resolved;
    if (channel && resolved != "beta")
        throw CLIError("invalid_argument",
                       "--channel " + resolved.value_or(*channel) + " conflicts with --beta. Pass only one.");
    return "beta";
}

} // namespace halvo
