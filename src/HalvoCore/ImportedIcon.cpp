#include "ImportedIcon.h"

#include <Base/UUID.h>

namespace halvo {

void keepIcon(BundleInfo& info, const std::filesystem::path& folder) {
    if (!info.appIcon)
        return;
    const std::filesystem::path copy = folder / (UUID::random().string() + ".icns");
    std::error_code failed;
    std::filesystem::copy_file(info.appIcon->filePath(), copy, failed);
    if (failed)
        info.appIcon.reset();
    else
        info.appIcon = URL::file(copy);
}

} // namespace halvo
