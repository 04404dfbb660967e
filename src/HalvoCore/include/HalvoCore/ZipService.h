#pragma once

#include <Base/Failure.h>
#include <Models/BundleInfo.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stop_token>
#include <string>
#include <variant>

namespace halvo {

/// Packs apps into ZIP archives, and reads the metadata of the app inside one.
class ZipService {
public:
    struct ZipErrorCases {
        struct ExtractionFailed {
            std::string text{};
            std::string description() const { return "Failed to extract ZIP: " + text; }
        };
        struct InvalidApplicationURL {
            std::string description() const { return "Invalid application URL"; }
        };
        struct NoAppFound {
            std::string description() const { return "No .app bundle found in ZIP"; }
        };
        struct InvalidBundle {
            std::string description() const { return "Invalid app bundle in ZIP"; }
        };
        using Case = std::variant<ExtractionFailed, InvalidApplicationURL, NoAppFound, InvalidBundle>;
    };
    using ZipError = FailureOf<ZipErrorCases>;

    /// Bytes packed, of how many.
    using Progress = std::function<void(std::uint64_t done, std::uint64_t total)>;

    ZipService(std::filesystem::path temporaryDirectory, std::stop_token cancellation)
        : temporaryDirectory(std::move(temporaryDirectory)), cancellation(std::move(cancellation)) {}

    /// Packs the bundle, with itself as the top entry, into a fresh folder of the temporary directory; folder
    /// and file are the caller's then. Throws ZipError `InvalidApplicationURL` for what is not a package, and
    /// what packing throws (ZIPError, FileError).
    URL zip(const URL& applicationURL, const Progress& progress = {}) const;

    /// Reads the first app at the top of the archive. Only what that needs is read, and only its names are
    /// judged. `url` of the result points to a place that is gone; `appIcon` is a copy that the caller
    /// removes. Throws ZipError and BundleInfoError.
    BundleInfo extractBundleInfo(const URL& zipURL) const;

private:
    std::filesystem::path temporaryDirectory;
    std::stop_token cancellation;
};

} // namespace halvo
