#pragma once

#include <HalvoCore/DMGService.h>
#include <HalvoCore/ZipService.h>
#include <Models/ImportedBundle.h>

namespace halvo {

/// Tells what the user handed over and reads the metadata of the app in it.
class BundleImportService {
public:
    class ImportError : public Failure {
    public:
        struct UnsupportedFormat {
            std::string extension{};
        };
        struct AppNotFoundInArchive {
            URL url{};
        };
        struct InvalidBundle {};
        using Case = std::variant<UnsupportedFormat, AppNotFoundInArchive, InvalidBundle>;
        explicit ImportError(Case problem) : Failure(describe(problem)), which(std::move(problem)) {}
        Case which;

    private:
        static std::string describe(const Case& which);
    };

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
