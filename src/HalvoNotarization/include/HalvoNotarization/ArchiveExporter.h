#pragma once

#include <Base/Bytes.h>
#include <Base/Failure.h>
#include <HalvoNotarization/ASCAuthenticationKey.h>
#include <Platform/ProcessRunner.h>

#include <filesystem>
#include <map>
#include <optional>
#include <stop_token>
#include <string>

namespace halvo {

struct ArchiveExportErrorCases {
    struct ArchiveNotFound {
        std::filesystem::path archive{};
        std::string description() const { return "Archive not found at " + archive.string(); }
    };
    struct ExportFailed {
        std::string text{};
        std::string description() const { return "Export failed: " + text; }
    };
    struct ProvisioningProfileRequired {
        std::string text{};
        std::string description() const { return text; }
    };
    struct AppNotFound {
        std::filesystem::path archive{};
        std::string description() const {
            return "xcodebuild produced no .app in the export of " + archive.string();
        }
    };
    struct UnexpectedExportLayout {
        std::size_t appCount = 0;
        std::filesystem::path exportDir{};
        std::string description() const {
            return "xcodebuild produced " + std::to_string(appCount) + " top-level .app bundles at " +
                   exportDir.string() + "; expected exactly one";
        }
    };
    struct MissingApplicationPath {
        std::filesystem::path archive{};
        std::string description() const {
            return "Archive " + archive.string() + " is missing ApplicationPath in Info.plist";
        }
    };
    using Case = std::variant<ArchiveNotFound, ExportFailed, ProvisioningProfileRequired, AppNotFound,
                              UnexpectedExportLayout, MissingApplicationPath>;
};

/// An archive that did not become an app.
class ArchiveExportError : public FailureOf<ArchiveExportErrorCases> {
public:
    explicit ArchiveExportError(Case which, std::filesystem::path exportFolder = {})
        : FailureOf(std::move(which)), exportFolder(std::move(exportFolder)) {}
    std::filesystem::path
        exportFolder; ///< what the tool left, to be looked at; empty when nothing was exported
};

/// Turns an Xcode archive into a signed app for Developer ID distribution, through `xcodebuild`.
class ArchiveExporter {
public:
    /// How the exported app is signed.
    struct Signing {
        /// Xcode finds or makes what it needs, with the user's account or with the key.
        struct Automatic {
            std::optional<ASCAuthenticationKey> authentication{};
        };
        struct Manual {
            std::string identity{};
            std::map<std::string, std::string> provisioningProfiles{}; ///< bundle identifier to profile name
        };
        std::variant<Automatic, Manual> value = Automatic{};
    };

    ArchiveExporter(ProcessRunner& processes, std::filesystem::path temporaryDirectory,
                    std::stop_token cancellation = {})
        : processes(processes), temporaryDirectory(std::move(temporaryDirectory)),
          cancellation(std::move(cancellation)) {}

    /// The exported app, in a folder "HalvoExport-<UUID>" of the temporary directory that belongs to the
    /// caller. An ArchiveExportError names the folder, which stays, to be looked at; after any other failure
    /// it is gone. Throws ProcessError, CancelledError, and FileError when the folder cannot be written.
    std::filesystem::path exportArchive(const std::filesystem::path& archive, const std::string& teamID,
                                        const Signing& signing);

    /// The options file of xcodebuild, an XML property list.
    static Bytes exportOptionsPlist(const std::string& teamID, const Signing& signing);

    /// The app inside an archive, as the archive's Info.plist names it; it may not exist yet. Throws
    /// ArchiveExportError::ArchiveNotFound and MissingApplicationPath.
    static std::filesystem::path appURL(const std::filesystem::path& archive);

private:
    ProcessResult runExport(Arguments arguments, const Signing& signing);

    ProcessRunner& processes;
    std::filesystem::path temporaryDirectory;
    std::stop_token cancellation;
};

} // namespace halvo
