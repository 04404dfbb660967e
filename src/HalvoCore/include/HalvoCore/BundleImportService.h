#pragma once

#include <HalvoCore/DMGService.h>
#include <HalvoCore/ZipService.h>
#include <Models/ImportedBundle.h>

namespace halvo {

/// Tells what the user handed over and reads the metadata of the app in it.
class BundleImportService {
public:
    struct ImportErrorCases {
        struct UnsupportedFormat {
            std::string extension{};
            std::string description() const { return "Unsupported format: " + extension; }
        };
        struct AppNotFoundInArchive {
            URL url{};
            std::string description() const {
                return "No app found in archive at " + url.filePath().string();
            }
        };
        struct InvalidBundle {
            std::string description() const { return "Invalid app bundle"; }
        };
        using Case = std::variant<UnsupportedFormat, AppNotFoundInArchive, InvalidBundle>;
    };
    using ImportError = FailureOf<ImportErrorCases>;

    BundleImportService(const ZipService& zipService, const DMGService& dmgService)
        : zipService(zipService), dmgService(dmgService) {}

    /// An app bundle, a disk image, a ZIP archive, or any other folder that opens as a bundle. An icon that
    /// was copied out of an image or archive is a temporary file of the caller's. Throws ImportError,
    /// BundleInfoError, and what ZipService and DMGService throw.
    ImportedBundle importBundle(const URL& url) const;
    /// An Xcode archive. Throws ImportError, ArchiveExportError and BundleInfoError.
    ImportedBundle importArchive(const URL& url) const;

private:
    const ZipService& zipService;
    const DMGService& dmgService;
};

} // namespace halvo
