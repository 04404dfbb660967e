#pragma once

#include <ZIP/ZIPError.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stop_token>
#include <string_view>

namespace halvo {

/// What a real app does not reach. Sizes are those of the entries that are unpacked.
struct ExtractionLimits {
    std::uint64_t entries = 500'000;
    std::uint64_t totalSize = std::uint64_t{64} << 30; ///< bytes
    /// How many times larger than the archive its content may be; counted beyond `unsuspiciousSize`.
    std::uint64_t expansion = 200;
    std::uint64_t unsuspiciousSize = std::uint64_t{256} << 20; ///< bytes
};

struct ExtractionOptions {
    ExtractionLimits limits{};
    /// Chooses entries by their path in the archive (`Demo.app/Contents/Info.plist`, no slash at the end).
    /// Absent: everything. What is left out is not decompressed, but its name and place are checked.
    std::function<bool(std::string_view path)> wanted{};
    std::stop_token cancellation{};
};

/// Unpacks a ZIP archive (stored and deflated entries, ZIP64) into a folder that exists and is empty.
///
/// Nothing is ever written outside the folder: absolute names, `..`, backslashes, names that are not UTF-8,
/// entries below links and links that lead out of the folder are refused before the first file is made.
/// Permissions are restored without set-user-id and without write access for others; modification times are
/// not. Memory use does not depend on the sizes in the archive.
///
/// Throws ZIPError, FileError, or CancelledError, and leaves the folder empty then.
void extractZip(const std::filesystem::path& archive, const std::filesystem::path& folder,
                const ExtractionOptions& options = {});

} // namespace halvo
