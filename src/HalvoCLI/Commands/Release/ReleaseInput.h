#pragma once

#include "Commands/Release/ReleaseOptions.h"

#include <Base/URL.h>

#include <filesystem>
#include <optional>
#include <string>

namespace halvo {

/// What `release` works from, told apart by the extension of the path alone.
struct ReleaseInput {
    enum class Kind {
        bundle,  ///< an app, a disk image or a ZIP archive, imported as it is
        archive, ///< .xcarchive
        project, ///< .xcodeproj or .xcworkspace
    };
    URL url{};
    Kind kind = Kind::bundle;
};

/// The given path, else the first Xcode project of `directory`. Throws CLIError `missing_argument`.
ReleaseInput resolveReleaseInput(const std::optional<std::string>& path,
                                 const std::filesystem::path& directory);

/// Throws CLIError `invalid_argument` for options that need another kind of input.
void checkOptionsAgainstInput(const ReleaseOptions& options, ReleaseInput::Kind kind);

} // namespace halvo
