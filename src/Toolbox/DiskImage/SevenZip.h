#pragma once

#include <Platform/Environment.h>
#include <Platform/ProcessRunner.h>

#include <filesystem>
#include <stop_token>
#include <string>

namespace halvo {

/// Unfolds volumes that only 7-Zip reads. Images are not trusted, and neither is what it makes of them.
class SevenZip {
public:
    struct Unfolded {
        std::filesystem::path folder{}; ///< with the volume's content
        std::string volumeName{};       ///< empty when 7-Zip knows none
    };

    SevenZip(ProcessRunner& processes, const Environment& environment, std::stop_token cancellation)
        : processes(processes), environment(environment), cancellation(std::move(cancellation)) {}

    /// Unfolds into `target`, which is made. 7-Zip makes files and folders; links are made afterwards, as the
    /// image has them, and are never followed. `reason` says what 7-Zip is needed for. Throws DiskImageError
    /// (`NeedsSevenZip`, `SevenZipFailed`, `TooLarge`), FileError and ProcessError.
    Unfolded unfold(const std::filesystem::path& image, const std::filesystem::path& target,
                    const std::string& reason);

private:
    ProcessResult run(Arguments arguments, const std::string& reason);

    ProcessRunner& processes;
    const Environment& environment;
    std::stop_token cancellation;
};

} // namespace halvo
