#include <HalvoNotarization/XcodeArchiveService.h>

#include "ArchiveRun.h"
#include "Duration.h"

#include <Base/Text.h>
#include <Base/UUID.h>
#include <Platform/Files.h>

#include <algorithm>
#include <utility>

namespace halvo {
namespace {

using Signing = XcodeArchiveService::Signing;

constexpr int maxAttempts = 3;
constexpr std::string_view xcodebuild = "/usr/bin/xcodebuild";
constexpr std::string_view silentButWhole =
    "xcodebuild went silent after completing the archive; continuing with the completed archive.";
constexpr std::string_view hungButWhole =
    "xcodebuild did not exit after ARCHIVE SUCCEEDED and was killed; continuing with the completed archive.";
constexpr std::string_view hungIncomplete =
    "xcodebuild reported ARCHIVE SUCCEEDED but the archive was incomplete after the hung process was killed";
constexpr std::string_view raiseLimit =
    " Raise HALVO_ARCHIVE_STALL_TIMEOUT if the build legitimately goes quiet for long stretches.";
constexpr std::string_view component = "XcodeArchiveService";

/// "com.example.my-app" as Xcode's c99extidentifier makes it.
std::string settingName(std::string identifier) {
    const auto isPartOfName = [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte >= 0x80 || (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
               (byte >= 'a' && byte <= 'z');
    };
    std::replace_if(
        identifier.begin(), identifier.end(), [&](char character) { return !isPartOfName(character); }, '_');
    return identifier;
}

/// A specifier given for all targets would break those of other identifiers (frameworks, packages): a private
/// setting for the one identifier makes it empty for them.
Arguments profileArguments(const Signing::Manual& manual) {
    if (!manual.bundleIdentifier)
        return {"PROVISIONING_PROFILE_SPECIFIER=" + manual.profileSpecifier};
    return {"HALVO_PROFILE_" + settingName(*manual.bundleIdentifier) + "=" + manual.profileSpecifier,
            "PROVISIONING_PROFILE_SPECIFIER=$(HALVO_PROFILE_$(PRODUCT_BUNDLE_IDENTIFIER:c99extidentifier))"};
}

void append(Arguments& arguments, const Arguments& more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
}

bool isThere(const std::filesystem::path& path) {
    std::error_code unreadable;
    return std::filesystem::exists(path, unreadable);
}

[[noreturn]] void failArchive(const std::string& text) {
    if (text.find("requires a provisioning profile") != std::string::npos)
        throw XcodeArchiveError(XcodeArchiveError::ProvisioningProfileRequired{text});
    throw XcodeArchiveError(XcodeArchiveError::ArchiveFailed{text});
}

} // namespace

/// How an attempt ended, with the text for people when it was not a success.
struct XcodeArchiveService::Attempt {
    enum class Kind { success, failure, stalled, successHang } kind = Kind::success;
    std::string text{};
};

XcodeArchiveService::Limits XcodeArchiveService::Limits::of(const Environment& environment) {
    const auto read = [&](const char* variable, std::chrono::milliseconds& limit) {
        const auto text = environment.nonEmpty(variable);
        if (const auto seconds = text ? parseInteger(*text) : std::nullopt) {
            constexpr std::int64_t tenYears =
                10LL * 365 * 24 * 3600; // times in nanoseconds must not overflow
            limit = std::chrono::seconds(std::clamp(*seconds, -tenYears, tenYears));
        }
    };
    Limits limits;
    read("HALVO_XCODEBUILD_QUERY_TIMEOUT", limits.query);
    read("HALVO_ARCHIVE_STALL_TIMEOUT", limits.stall);
    read("HALVO_ARCHIVE_COMPLETE_IDLE_GRACE", limits.idleGrace);
    return limits;
}

Arguments XcodeArchiveService::clonedSourcePackagesArguments() const {
    const auto folder = services.environment.nonEmpty("HALVO_CLONED_SOURCE_PACKAGES_DIR");
    return folder ? Arguments{"-clonedSourcePackagesDirPath", *folder} : Arguments{};
}

Arguments
XcodeArchiveService::signingArguments(const Signing& signing,
                                      const std::optional<std::filesystem::path>& authenticationKeyPath) {
    if (std::holds_alternative<Signing::AdHoc>(signing.value))
        return {"CODE_SIGN_STYLE=Manual", "CODE_SIGN_IDENTITY=-"};
    if (const auto* manual = std::get_if<Signing::Manual>(&signing.value)) {
        Arguments arguments{"CODE_SIGN_STYLE=Manual", "CODE_SIGN_IDENTITY=" + manual->identity};
        append(arguments, profileArguments(*manual));
        if (manual->teamID)
            arguments.push_back("DEVELOPMENT_TEAM=" + *manual->teamID);
        return arguments;
    }
    Arguments arguments{"-allowProvisioningUpdates"};
    const auto& key = std::get<Signing::Automatic>(signing.value).authentication;
    if (key && authenticationKeyPath && isThere(*authenticationKeyPath))
        append(arguments, key->xcodebuildArguments(*authenticationKeyPath));
    return arguments;
}

std::filesystem::path XcodeArchiveService::newArchivePath(const std::string& scheme) const {
    return temporaryDirectory / (scheme + "-" + UUID::random().string() + ".xcarchive");
}

std::filesystem::path XcodeArchiveService::archive(const std::filesystem::path& project, ProjectType type,
                                                   const std::string& scheme, const Signing& signing,
                                                   const std::map<std::string, std::string>& overrides,
                                                   const OutputLine& onOutputLine) {
    if (!isThere(project))
        throw XcodeArchiveError(XcodeArchiveError::ProjectNotFound{project});
    Arguments closing;
    for (const auto& [key, value] : overrides)
        closing.emplace_back(key).append("=").append(value);
    closing.push_back("archive");

    for (int number = 1;; ++number) {
        TemporaryPath partial(newArchivePath(scheme));
        Arguments opening{type == ProjectType::workspace ? "-workspace" : "-project",
                          project.string(),
                          "-scheme",
                          scheme,
                          "-archivePath",
                          partial.path().string()};
        append(opening, clonedSourcePackagesArguments());
        const Attempt attempt = runArchiveAttempt(partial.path(), opening, closing, signing, onOutputLine);
        if (attempt.kind == Attempt::Kind::success)
            return partial.release();
        if (attempt.kind == Attempt::Kind::failure)
            failArchive(attempt.text);
        const bool stalled = attempt.kind == Attempt::Kind::stalled;
        if (isArchiveComplete(partial.path())) {
            report(stalled ? silentButWhole : hungButWhole, onOutputLine);
            return partial.release();
        }
        const std::string text = (stalled ? attempt.text : std::string(hungIncomplete)) + " (attempt " +
                                 std::to_string(number) + " of " + std::to_string(maxAttempts) + ").";
        report(text, onOutputLine);
        if (number == maxAttempts)
            throw XcodeArchiveError(XcodeArchiveError::ArchiveFailed{text + std::string(raiseLimit)});
    }
}

XcodeArchiveService::Attempt XcodeArchiveService::runArchiveAttempt(const std::filesystem::path& archive,
                                                                    const Arguments& opening,
                                                                    const Arguments& closing,
                                                                    const Signing& signing,
                                                                    const OutputLine& onOutputLine) {
    const auto run = [&](const std::optional<std::filesystem::path>& keyPath) {
        Arguments arguments = opening;
        append(arguments, signingArguments(signing, keyPath));
        append(arguments, closing);
        return performAttempt(archive, std::move(arguments), onOutputLine);
    };
    const auto* automatic = std::get_if<Signing::Automatic>(&signing.value);
    if (!automatic || !automatic->authentication)
        return run(std::nullopt);
    return automatic->authentication->withKeyFile(temporaryDirectory, run);
}

XcodeArchiveService::Attempt XcodeArchiveService::performAttempt(const std::filesystem::path& archive,
                                                                 Arguments arguments,
                                                                 const OutputLine& onOutputLine) {
    const ArchiveOutcome outcome =
        runArchive(services.processes,
                   {.executable = std::string(xcodebuild),
                    .arguments = std::move(arguments),
                    .environment = {{"NSUnbufferedIO", "YES"}},
                    .ownGroup = true,
                    .cancellation = cancellation},
                   archive, services.limits, [&](const std::string& line) {
                       services.log.write(LogLevel::debug, component, "[xcodebuild] " + line);
                       if (onOutputLine)
                           onOutputLine(line);
                   });
    if (outcome.killed == KillReason::successHang)
        return {Attempt::Kind::successHang, {}};
    if (outcome.killed)
        return {Attempt::Kind::stalled, "xcodebuild produced no output for " +
                                            durationText(services.limits.stall) +
                                            " and was killed before the archive completed"};
    if (outcome.termination.succeeded())
        return {};
    return {Attempt::Kind::failure, joined(outcome.lines, "\n")};
}

void XcodeArchiveService::report(std::string_view text, const OutputLine& onOutputLine) {
    const std::string line = "halvo: " + std::string(text);
    services.log.write(LogLevel::error, component, line);
    if (onOutputLine)
        onOutputLine(line);
}

} // namespace halvo
