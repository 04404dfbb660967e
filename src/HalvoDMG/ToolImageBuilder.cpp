#include <HalvoDMG/ImageBuilder.h>

#include "ImageTools.h"

#include <Base/UUID.h>
#include <HalvoDMG/DSStoreWriter.h>
#include <Platform/CopyTree.h>
#include <Platform/Files.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace halvo {
namespace {

namespace fs = std::filesystem;

void check(const std::error_code& error, const char* action, const fs::path& path) {
    if (error)
        throw FileError(action, path, error.value());
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
        } catch (...) { // the failure that led here is the one to report
        }
    }
    void wasDetached() { mounted = false; }

private:
    ImageTools tools;
    MountedVolume volume;
    bool mounted = true;
};

/// Tells the size of a file that a tool writes, some times a second, for as long as the object lives.
class FileGrowth {
public:
    FileGrowth(const fs::path& file, const ImageBuilder::Progress& progress) {
        if (progress)
            watcher = std::jthread([=](const std::stop_token& ended) { watch(file, progress, ended); });
    }

private:
    static void watch(const fs::path& file, const ImageBuilder::Progress& progress,
                      const std::stop_token& ended) {
        constexpr std::chrono::milliseconds interval{200};
        std::mutex mutex;
        std::condition_variable_any woken;
        std::unique_lock lock(mutex);
        while (!woken.wait_for(lock, ended, interval, [] { return false; }) && !ended.stop_requested()) {
            std::error_code missing;
            const std::uintmax_t size = fs::file_size(file, missing);
            if (!missing)
                progress(size, 0);
        }
    }

    std::jthread watcher;
};

/// Makes one image.
class ToolBuild {
public:
    ToolBuild(const ImageTools& tools, const DSStoreWriter& layout, const ImageContents& contents,
              const ImageBuilder::Progress& progress)
        : tools(tools), layout(layout), contents(contents), progress(progress) {}

    void stage(const fs::path& staging, const std::stop_token& cancellation) const {
        // The folder becomes the root of the volume, which everybody may read.
        std::error_code error;
        fs::permissions(staging, fs::perms(0755), error);
        check(error, "change", staging);
        copyTree(contents.app, staging / contents.appName,
                 {.progress = progress, .cancellation = cancellation});
        forgetBytes();
        fs::create_directory_symlink("/Applications", staging / "Applications", error);
        check(error, "create", staging / "Applications");
        fs::create_directory(staging / ".background", error);
        check(error, "create", staging / ".background");
        writeNewFile(staging / ".background" / backgroundName(), contents.background.picture, 0644);
    }

    void makeImage(const fs::path& staging, const fs::path& image) const {
        tools.runCommand("/bin/chmod", {"-Rf", "go-w", staging.string()});
        {
            const FileGrowth growth(image, progress);
            tools.hdiutilMaking(image,
                                {"create", "-srcfolder", staging.string(), "-volname", contents.volumeName,
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
        const DMGConfiguration& configuration = contents.configuration;
        if (configuration.volumeIcon)
            copyFile(configuration.volumeIcon->filePath(), root / ".VolumeIcon.icns");
        layout.write(root, contents.appName, backgroundName(), configuration);
        removeQuietly(root / ".fseventsd");
        if (configuration.volumeIcon)
            tools.runCommand("/usr/bin/SetFile", {"-a", "C", root.string()});
        tools.detach(root);
        guard.wasDetached();
    }

    void compress(const fs::path& image, const fs::path& output) const {
        std::error_code unreadable;
        if (fs::symlink_status(output, unreadable).type() != fs::file_type::not_found) // it came meanwhile
            throw DMGCreationError(DMGCreationError::OutputAlreadyExists{URL::file(output)});
        const FileGrowth growth(output, progress);
        tools.hdiutilMaking(output, {"convert", image.string(), "-format", "ULMO", "-o", output.string()});
    }

private:
    std::string backgroundName() const { return "background." + contents.background.extension; }

    /// What follows is not counted in bytes: a person must not read of the last ones until it is over.
    void forgetBytes() const {
        if (progress)
            progress(0, 0);
    }

    const ImageTools& tools;
    const DSStoreWriter& layout;
    const ImageContents& contents;
    const ImageBuilder::Progress& progress;
};

class ToolImageBuilder final : public ImageBuilder {
public:
    ToolImageBuilder(ProcessRunner& processes, const VolumeFacts& volumes, Clock& clock,
                     fs::path temporaryDirectory, const std::stop_token& cancellation)
        : tools(processes, clock, cancellation), layout(volumes, clock),
          temporaryDirectory(std::move(temporaryDirectory)), cancellation(cancellation) {}

    void build(const ImageContents& contents, const fs::path& output, const Progress& progress) override {
        const TemporaryDirectory staging(temporaryDirectory, "dmg-staging-");
        const TemporaryPath image(temporaryDirectory / ("rw-" + UUID::random().string() + ".dmg"));
        const ToolBuild build(tools, layout, contents, progress);
        build.stage(staging.path(), cancellation);
        build.makeImage(staging.path(), image.path());
        build.enlarge(image.path());
        build.layOut(image.path());
        build.compress(image.path(), output);
    }

private:
    ImageTools tools;
    DSStoreWriter layout;
    fs::path temporaryDirectory;
    std::stop_token cancellation;
};

} // namespace

std::unique_ptr<ImageBuilder> makeToolImageBuilder(ProcessRunner& processes, const VolumeFacts& volumes,
                                                   Clock& clock, fs::path temporaryDirectory,
                                                   std::stop_token cancellation) {
    return std::make_unique<ToolImageBuilder>(processes, volumes, clock, std::move(temporaryDirectory),
                                              cancellation);
}

std::unique_ptr<ImageBuilder> makeImageBuilder(const Platform& platform) {
    if (!platform.hasDiskImageTools)
        return makeDirectImageBuilder(platform.clock, platform.environment, platform.cancellation);
    return makeToolImageBuilder(platform.processes, platform.volumes, platform.clock,
                                platform.temporaryDirectory, platform.cancellation);
}

} // namespace halvo
