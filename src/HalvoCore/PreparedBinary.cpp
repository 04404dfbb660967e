#include <HalvoCore/PreparedBinary.h>

#include <Base/Text.h>
#include <Base/URL.h>
#include <Base/UUID.h>
#include <Models/Artifact.h>
#include <Platform/Files.h>

namespace halvo {
namespace {

/// Copies beside the target first, so that a failed copy leaves the old file.
void copyIntoPlace(const std::filesystem::path& source, const std::filesystem::path& target) {
    TemporaryPath partial(target.parent_path() /
                          ("." + target.filename().string() + "." + UUID::random().string()));
    std::error_code error;
    std::filesystem::copy_file(source, partial.path(), error);
    if (!error)
        std::filesystem::rename(partial.path(), target, error);
    if (error)
        throw FileError("write", target, error.value());
    partial.release();
}

} // namespace

PreparedBinary::~PreparedBinary() {
    if (!removes)
        return;
    removeQuietly(location);
    std::error_code notEmpty;
    std::filesystem::remove(location.parent_path(), notEmpty);
}

std::filesystem::path PreparedBinary::deliver(const std::filesystem::path& directory,
                                              const std::string& name) const {
    const std::filesystem::path target =
        directory / (artifactName(name) + "." + lowercased(pathExtension(location)));
    std::error_code error;
    if (std::filesystem::equivalent(location, target, error))
        return target; // the user's own file, already in its place
    error.clear();
    if (isOwn())
        std::filesystem::rename(location, target, error);
    if (!isOwn() || error) // another file system takes no rename
        copyIntoPlace(location, target);
    return target;
}

} // namespace halvo
