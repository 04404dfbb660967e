#include <HalvoCore/BundleImportService.h>

#include <Base/Text.h>
#include <HalvoNotarization/ArchiveExporter.h>
#include <Platform/Bundle.h>

namespace halvo {

ImportedBundle BundleImportService::importBundle(const URL& url) const {
    const std::string extension = lowercased(url.pathExtension());
    if (extension == "dmg")
        return {ImportedBundle::DMG{dmgService.extractBundleInfo(url), url}};
    if (extension == "zip")
        return {ImportedBundle::ZIP{zipService.extractBundleInfo(url), url}};
    const auto bundle = Bundle::open(url.filePath());
    if (!bundle && extension == "app")
        throw ImportError(ImportError::InvalidBundle());
    if (!bundle)
        throw ImportError(ImportError::UnsupportedFormat{extension});
    return {ImportedBundle::App{BundleInfo::from(*bundle)}};
}

ImportedBundle BundleImportService::importArchive(const URL& url) const {
    const auto bundle = Bundle::open(ArchiveExporter::appURL(url.filePath()));
    if (!bundle)
        throw ImportError(ImportError::AppNotFoundInArchive{url});
    return {ImportedBundle::ArchivedApp{BundleInfo::from(*bundle), url}};
}

} // namespace halvo
