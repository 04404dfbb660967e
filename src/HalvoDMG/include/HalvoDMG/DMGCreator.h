#pragma once

#include <HalvoDMG/DMGConfiguration.h>
#include <HalvoDMG/DMGCreationError.h>
#include <Platform/Clock.h>
#include <Platform/ImageServices.h>
#include <Platform/ProcessRunner.h>
#include <Platform/VolumeFacts.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>

namespace halvo {

/// Makes disk images of apps: compressed, read-only, with a window in which the app lies beside a link to
/// "/Applications".
class DMGCreator {
public:
    /// Bytes of the work under way, of how many; zero for a total that is not known, and for both when none
    /// are counted. It starts anew with each of the long steps. Called from other threads too.
    using Progress = std::function<void(std::uint64_t done, std::uint64_t total)>;

    DMGCreator(ProcessRunner& processes, const VolumeFacts& volumes, Clock& clock, ImageServices& images,
               std::filesystem::path temporaryDirectory, std::stop_token cancellation = {})
        : processes(processes), volumes(volumes), clock(clock), images(images),
          temporaryDirectory(std::move(temporaryDirectory)), cancellation(std::move(cancellation)) {}

    /// Gives the finished image: `outputURL`, or without one a file beside the app. It is there only when it
    /// is complete, and nothing else is left, however this ends. The app is not changed.
    ///
    /// Throws DMGCreationError, ProcessError for a tool that cannot be started, CancelledError, FileError,
    /// and, when a background must be generated, what DMGBackgroundImage throws.
    URL create(const URL& appURL, const std::optional<URL>& outputURL, const DMGConfiguration& configuration,
               const Progress& progress = {}) const;

    /// "MyApp.dmg" beside "MyApp.app".
    static URL defaultOutputURL(const URL& appURL);

private:
    ProcessRunner& processes;
    const VolumeFacts& volumes;
    Clock& clock;
    ImageServices& images;
    std::filesystem::path temporaryDirectory;
    std::stop_token cancellation;
};

} // namespace halvo
