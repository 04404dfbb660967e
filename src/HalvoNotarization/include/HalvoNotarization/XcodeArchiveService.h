#pragma once

#include <HalvoNotarization/ASCAuthenticationKey.h>
#include <HalvoNotarization/XcodeArchiveError.h>
#include <Models/XcodeBuildConfiguration.h>
#include <Platform/Environment.h>
#include <Platform/Log.h>
#include <Platform/ProcessRunner.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace halvo {

/// Archives Xcode projects and workspaces, and asks for their schemes and bundle identifiers, through
/// `xcodebuild`.
///
/// That tool can go quiet or hang, with its work done or not. An archive run is therefore watched, killed
/// when it stalls, and repeated up to three times unless what lies on disk is whole; a query has a time limit
/// and one repetition. These variables of the environment, whole seconds, set the limits:
/// HALVO_ARCHIVE_STALL_TIMEOUT (600), HALVO_ARCHIVE_COMPLETE_IDLE_GRACE (20) and
/// HALVO_XCODEBUILD_QUERY_TIMEOUT (60). HALVO_CLONED_SOURCE_PACKAGES_DIR names a folder of cloned packages.
class XcodeArchiveService {
public:
    /// How the archive is signed.
    struct Signing {
        /// Xcode finds or makes what it needs, with the user's account or with the key.
        struct Automatic {
            std::optional<ASCAuthenticationKey> authentication{};
        };
        struct Manual {
            std::string identity{};
            std::string profileSpecifier{};
            std::optional<std::string> teamID{};
            /// The target that the profile is for; absent: all of them.
            std::optional<std::string> bundleIdentifier{};
        };
        struct AdHoc {};
        std::variant<Automatic, Manual, AdHoc> value = Automatic{};
    };

    struct Limits {
        std::chrono::milliseconds query{60'000};
        std::chrono::milliseconds stall{600'000};    ///< of silence
        std::chrono::milliseconds idleGrace{20'000}; ///< of silence once the archive is whole
        std::chrono::milliseconds hangAfterSuccess{15'000};
        std::chrono::milliseconds poll{10'000};
        std::chrono::milliseconds confirmingPoll{3'000};
        /// A variable that is unset, empty or not a decimal integer leaves the default.
        static Limits of(const Environment& environment);
    };

    struct Services {
        ProcessRunner& processes;
        const Environment& environment;
        Log& log;
        Limits limits = Limits::of(environment);
    };

    XcodeArchiveService(Services services, std::filesystem::path temporaryDirectory,
                        std::stop_token cancellation = {})
        : services(services), temporaryDirectory(std::move(temporaryDirectory)),
          cancellation(std::move(cancellation)) {}

    /// Called on the thread that called `archive`, with each line of the tool; lines that begin with "halvo:
    /// " are ours and tell of a hang.
    using OutputLine = std::function<void(const std::string& line)>;

    /// The finished archive, in the temporary directory; it belongs to the caller. Throws
    /// XcodeArchiveError::ProjectNotFound, ArchiveFailed and ProvisioningProfileRequired, ProcessError when
    /// the tool cannot be run, and CancelledError.
    std::filesystem::path archive(const std::filesystem::path& project, ProjectType type,
                                  const std::string& scheme, const Signing& signing,
                                  const std::map<std::string, std::string>& buildSettingOverrides,
                                  const OutputLine& onOutputLine = {});

    /// The identifier of the app that a scheme builds. Throws XcodeArchiveError::ProjectNotFound and
    /// FailedToReadBuildSettings.
    std::string bundleIdentifier(const std::filesystem::path& project, ProjectType type,
                                 const std::string& scheme);
    /// Sorted. Throws XcodeArchiveError::ProjectNotFound and FailedToParseSchemes.
    std::vector<std::string> listSchemes(const std::filesystem::path& project, ProjectType type);

    Arguments clonedSourcePackagesArguments() const;
    static Arguments signingArguments(const Signing& signing,
                                      const std::optional<std::filesystem::path>& authenticationKeyPath);

    /// The application's identifier in what `-showBuildSettings -json` prints, else the first one. Log lines
    /// before the JSON are passed over.
    static std::optional<std::string> parseBundleIdentifier(std::string_view output);
    /// The schemes in what `-list -json` prints, sorted. Throws XcodeArchiveError::FailedToParseSchemes.
    static std::vector<std::string> parseSchemes(std::string_view output, ProjectType type);

private:
    struct Attempt;
    Attempt runArchiveAttempt(const std::filesystem::path& archive, const Arguments& opening,
                              const Arguments& closing, const Signing& signing,
                              const OutputLine& onOutputLine);
    Attempt performAttempt(const std::filesystem::path& archive, Arguments arguments,
                           const OutputLine& onOutputLine);
    std::filesystem::path newArchivePath(const std::string& scheme) const;
    void report(std::string_view text, const OutputLine& onOutputLine);
    ProcessResult runQuery(const Arguments& arguments, std::size_t outputLimit);

    Services services;
    std::filesystem::path temporaryDirectory;
    std::stop_token cancellation;
};

} // namespace halvo
