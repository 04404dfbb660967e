#include <HalvoDMG/DMGCreator.h>

#include <Base/Text.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;

/// What cannot be looked at counts as there: nothing may be written over it.
bool mayExist(const fs::path& path) {
    std::error_code error;
    return fs::symlink_status(path, error).type() != fs::file_type::not_found;
}

void requireApp(const URL& appURL) {
    const fs::path app = appURL.filePath();
    if (!mayExist(app))
        throw DMGCreationError(DMGCreationError::AppNotFound{appURL});
    const std::string extension = appURL.pathExtension();
    if (lowercased(extension) != "app")
        throw DMGCreationError(DMGCreationError::InvalidApp{"Expected .app bundle, got ." + extension});
    std::error_code unreadable;
    if (!fs::is_directory(app, unreadable))
        throw DMGCreationError(DMGCreationError::InvalidApp{app.string() + " is not a folder"});
}

} // namespace

URL DMGCreator::defaultOutputURL(const URL& appURL) {
    fs::path name = appURL.lastPathComponent();
    fs::path app = appURL.filePath();
    if (!app.has_filename()) // a slash stands at the end
        app = app.parent_path();
    return URL::file(app.parent_path() / name.replace_extension("dmg"));
}

URL DMGCreator::create(const URL& appURL, const std::optional<URL>& outputURL,
                       const DMGConfiguration& configuration, const Background& background,
                       const ImageBuilder::Progress& progress) const {
    requireApp(appURL);
    URL output = outputURL.value_or(defaultOutputURL(appURL));
    if (mayExist(output.filePath()))
        throw DMGCreationError(DMGCreationError::OutputAlreadyExists{output});
    const std::string appName = appURL.lastPathComponent();
    builder.build({.app = appURL.filePath(),
                   .appName = appName,
                   .volumeName = configuration.volumeName.value_or(fs::path(appName).stem().string()),
                   .configuration = configuration,
                   .background = background},
                  output.filePath(), progress);
    return output;
}

} // namespace halvo
