#include "Commands/Release/LocalOutput.h"

#include <Base/UUID.h>
#include <HalvoCore/TemporaryArtifact.h>
#include <Models/Artifact.h>
#include <Platform/Files.h>

namespace halvo {
namespace {

void check(const std::error_code& error, const char* action, const std::filesystem::path& path) {
    if (error)
        throw FileError(action, path, error.value());
}

/// Copies beside the target first, so that a failed copy leaves the old file.
void copyIntoPlace(const std::filesystem::path& source, const std::filesystem::path& target) {
    const std::filesystem::path partial =
        target.parent_path() / ("." + target.filename().string() + "." + UUID::random().string());
    std::error_code error;
    std::filesystem::copy_file(source, partial, error);
    if (!error)
        std::filesystem::rename(partial, target, error);
    if (error)
        removeQuietly(partial);
    check(error, "write", target);
}

/// Removes the file that was made for this run, delivered or not.
struct PreparedFileGuard {
    const URL& file;
    bool ownFile;

    ~PreparedFileGuard() {
        if (ownFile)
            removeTemporaryArtifact(file);
    }
};

} // namespace

std::filesystem::path deliverLocally(const URL& preparedFile, bool ownFile, const BundleInfo& bundleInfo,
                                     const std::filesystem::path& directory) {
    const PreparedFileGuard guard{preparedFile, ownFile};
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    check(error, "create", directory);
    const std::filesystem::path source = preparedFile.filePath();
    const std::filesystem::path target =
        directory /
        (artifactName(bundleInfo.name + "-" + bundleInfo.versionString) + "." + pathExtension(source));
    if (std::filesystem::equivalent(source, target, error))
        return target; // the user's own file, already in its place
    if (ownFile)
        std::filesystem::rename(source, target, error);
    if (!ownFile || error) // another file system takes no rename
        copyIntoPlace(source, target);
    return target;
}

} // namespace halvo
