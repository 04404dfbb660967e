#include <HalvoDMG/DMGCreator.h>

#include "FileGrowth.h"
#include "ImageTools.h"

#include <Base/Text.h>
#include <Base/UUID.h>
#include <HalvoDMG/DMGBackground.h>
#include <HalvoDMG/DSStoreWriter.h>
#include <Platform/CopyTree.h>
#include <Platform/Files.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;

void check(const std::error_code& error, const char* action, const fs::path& path) {
    if (error)
        throw FileError(action, path, error.value());
}

/// What cannot be looked at counts as there: nothing may be written over it.
bool mayExist(const fs::path& path) {
    std::error_code error;
    return fs::symlink_status(path, error).type() != fs::file_type::not_found;
}

void copyFile(const fs::path& source, const fs::path& destination) {
    std::error_code error;
    fs::copy_file(source, destination, error);
    check(error, "copy", source);
}

/// Detaches a volume, unless that was done before.
class MountGuard {
public:
    MountGuard(const ImageTools& tools, MountedVolume volume)
        : tools(tools.uncancelled()), volume(std::move(volume)) {}
    MountGuard(const MountGuard&) = delete;
    MountGuard& operator=(const MountGuard&) = delete;
    ~MountGuard() {
        if (!mounted)
            return;
        try {
            tools.detach(volume.mountPoint);
        } catch (const std::exception&) { // the failure that led here is the one to report
        }
    }
    void wasDetached() { mounted = false; }

private:
    ImageTools tools;
    MountedVolume volume;
    bool mounted = true;
};

/// A file that is removed when the object goes, if it was ever written.
struct TemporaryFile {
    fs::path path;

    explicit TemporaryFile(fs::path path) : path(std::move(path)) {}
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() { removeQuietly(path); }
};

/// Makes one image.
class ImageBuild {
public:
    ImageBuild(const ImageTools& tools, const DSStoreWriter& layout, const DMGConfiguration& configuration,
               std::string appName, const DMGCreator::Progress& progress)
        : tools(tools), layout(layout), configuration(configuration), appName(std::move(appName)),
          progress(progress) {}

    void stage(const fs::path& app, const fs::path& staging, const std::stop_token& cancellation) const {
        // The folder becomes the root of the volume, which everybody may read.
        std::error_code error;
        fs::permissions(staging, fs::perms(0755), error);
        check(error, "change", staging);
        copyTree(app, staging / appName, {.progress = progress, .cancellation = cancellation});
        forgetBytes();
        fs::create_directory_symlink("/Applications", staging / "Applications", error);
        check(error, "create", staging / "Applications");
    }

    void stageBackground(const URL& picture, const fs::path& staging) {
        std::error_code error;
        fs::create_directory(staging / ".background", error);
        check(error, "create", staging / ".background");
        backgroundName = "background." + lowercased(picture.pathExtension());
        copyFile(picture.filePath(), staging / ".background" / backgroundName);
    }

    void makeImage(const fs::path& staging, const fs::path& image) const {
        tools.runCommand("/bin/chmod", {"-Rf", "go-w", staging.string()});
        {
            const FileGrowth growth(image, progress);
            tools.hdiutilMaking(image, {"create", "-srcfolder", staging.string(), "-volname", volumeName(),
                                        "-fs", "APFS", "-format", "UDRW", image.string()});
        }
        forgetBytes();
    }

    void enlarge(const fs::path& image) const {
        const std::int64_t size = imageSizeInMegabytes(tools.hdiutil({"resize", "-limits", image.string()}));
        tools.hdiutil({"resize", "-size", std::to_string(size) + "m", image.string()});
    }

    void layOut(const fs::path& image) const {
        const MountedVolume volume = tools.mount(image);
        MountGuard guard(tools, volume);
        const fs::path& root = volume.mountPoint;
        if (configuration.volumeIcon)
            copyFile(configuration.volumeIcon->filePath(), root / ".VolumeIcon.icns");
        layout.write(root, appName, backgroundName, configuration);
        removeQuietly(root / ".fseventsd");
        if (configuration.volumeIcon)
            tools.runCommand("/usr/bin/SetFile", {"-a", "C", root.string()});
        tools.detach(root);
        guard.wasDetached();
    }

    void compress(const fs::path& image, const fs::path& output) const {
        if (mayExist(output)) // it came meanwhile, and is not this build's
            throw DMGCreationError(DMGCreationError::OutputAlreadyExists{URL::file(output)});
        const FileGrowth growth(output, progress);
        tools.hdiutilMaking(output, {"convert", image.string(), "-format", "ULMO", "-o", output.string()});
    }

private:
    /// What follows is not counted in bytes: a person must not read of the last ones until it is over.
    void forgetBytes() const {
        if (progress)
            progress(0, 0);
    }

    std::string volumeName() const {
        return configuration.volumeName.value_or(fs::path(appName).stem().string());
    }

    const ImageTools& tools;
    const DSStoreWriter& layout;
    const DMGConfiguration& configuration;
    std::string appName; ///< with its extension
    std::string backgroundName{};
    const DMGCreator::Progress& progress;
};

void requireApp(const URL& appURL) {
    const fs::path app = appURL.filePath();
    if (!mayExist(app))
        throw DMGCreationError(DMGCreationError::AppNotFound{appURL});
    const std::string extension = appURL.pathExtension();
    if (lowercased(extension) != "app")
        throw DMGCreationError(DMGCreationError::InvalidApp{"Expected .app bundle, got ." + extension});
    std::error_code unreadable;
    if (!fs::is_directory(app, unreadable))
        throw DMGCreationError(DMGCreationError::InvalidApp{app.string() + " is no folder"});
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
                       const DMGConfiguration& configuration, const Progress& progress) const {
    requireApp(appURL);
    URL output = outputURL.value_or(defaultOutputURL(appURL));
    if (mayExist(output.filePath()))
        throw DMGCreationError(DMGCreationError::OutputAlreadyExists{output});

    const ImageTools tools(processes, clock, cancellation);
    const DSStoreWriter layout(volumes, clock);
    const std::string appName = appURL.lastPathComponent();
    const TemporaryDirectory staging(temporaryDirectory, "dmg-staging-");
    const TemporaryFile image(temporaryDirectory / ("rw-" + UUID::random().string() + ".dmg"));

    ImageBuild build(tools, layout, configuration, appName, progress);
    build.stage(appURL.filePath(), staging.path(), cancellation);
    const PointSize window = configuration.windowSize();
    const DMGBackground background =
        configuration.backgroundImage
            ? DMGBackground::fitted(*configuration.backgroundImage, window, images, temporaryDirectory)
            : DMGBackground::generated(window, fs::path(appName).stem().string(), false, images,
                                       temporaryDirectory);
    build.stageBackground(background.url(), staging.path());
    build.makeImage(staging.path(), image.path);
    build.enlarge(image.path);
    build.layOut(image.path);
    build.compress(image.path, output.filePath());
    return output;
}

} // namespace halvo
