#pragma once

#include <Base/Failure.h>
#include <Models/BundleInfo.h>
#include <Platform/Log.h>
#include <Platform/ProcessRunner.h>

#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <variant>

namespace halvo {

/// Reads the metadata of the app in a disk image, which `hdiutil` mounts for that. Where there is none, 7-Zip
/// takes what is wanted out of the image.
class DMGService {
public:
    struct DMGCases {
        struct MountFailed {
            std::string text{};
            std::string description() const { return "Failed to mount DMG: " + text; }
        };
        struct UnmountFailed {
            std::string text{};
            std::string description() const { return "Failed to unmount DMG: " + text; }
        };
        struct NoAppFound {
            std::string description() const { return "No .app bundle found in DMG"; }
        };
        struct InvalidBundle {
            std::string description() const { return "Invalid app bundle in DMG"; }
        };
        using Case = std::variant<MountFailed, UnmountFailed, NoAppFound, InvalidBundle>;
    };
    using DMGError = FailureOf<DMGCases>;

    DMGService(ProcessRunner& processes, Log& log, std::filesystem::path temporaryDirectory,
               std::stop_token cancellation = {}, bool mountsImages = true)
        : processes(processes), log(log), temporaryDirectory(std::move(temporaryDirectory)),
          cancellation(std::move(cancellation)), mountsImages(mountsImages) {}

    /// Reads the first app at the top of the image, mounted for that and unmounted again, an image too that
    /// was mounted before. `url` of the result points to a place that is gone; `appIcon` is a copy that the
    /// caller removes. Throws DMGError, BundleInfoError, PropertyListError and ProcessError.
    BundleInfo extractBundleInfo(const URL& dmgURL) const;

    /// Gives where the image is mounted, read-only unless it was mounted before. Throws DMGError
    /// `MountFailed`, PropertyListError for an answer that cannot be read, and ProcessError.
    URL mount(const URL& dmgURL) const;
    /// Throws DMGError `UnmountFailed` and ProcessError.
    void unmount(const URL& mountPoint) const;
    /// Absent when the image is not mounted, or nobody can tell.
    std::optional<URL> findExistingMount(const URL& dmgURL) const;
    /// The first app at the top of a volume, by name. Throws DMGError `NoAppFound`.
    static URL findApp(const URL& mountPoint);

private:
    std::optional<URL> findMount(const URL& dmgURL, const std::stop_token& runCancellation) const;
    BundleInfo readApp(const std::filesystem::path& app) const;
    void unmountAndLog(const URL& mountPoint) const;
    ProcessResult hdiutil(Arguments arguments, const std::stop_token& runCancellation) const;

    ProcessRunner& processes;
    Log& log;
    std::filesystem::path temporaryDirectory;
    std::stop_token cancellation;
    bool mountsImages;
};

} // namespace halvo
