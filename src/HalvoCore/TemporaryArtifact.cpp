#include <HalvoCore/TemporaryArtifact.h>

#include <Base/UUID.h>
#include <Platform/Files.h>

namespace halvo {

void removeTemporaryArtifact(const URL& file) noexcept {
    const std::filesystem::path path = file.filePath();
    removeQuietly(path);
    if (UUID::parse(path.parent_path().filename().string())) { // made for this file alone, as its name tells
        std::error_code notEmpty;
        std::filesystem::remove(path.parent_path(), notEmpty);
    }
}

} // namespace halvo
