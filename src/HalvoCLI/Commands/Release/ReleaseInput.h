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

/// The channel to publish to, absent for the default one. Throws ChannelError, and CLIError
/// `invalid_argument` when `--beta` stands beside another channel, the default one included.
std::optional<std::string> resolveChannel(const std::optional<std::string>& channel, bool beta);

/// The given path, else the first Xcode project of `directory`. Throws CLIError `missing_argument`.
ReleaseInput resolveReleaseInput(const std::optional<std::string>& path,
                                 const std::filesystem::path& directory);

/// Throws CLIError `invalid_argument` for options that need another kind of input.
void checkOptionsAgainstInput(const ReleaseOptions& options, ReleaseInput::Kind kind);

/// A leading "~" or "~/" becomes the home folder.
std::string expandingTilde(const std::string& path, const std::filesystem::path& home);

} // namespace halvo
