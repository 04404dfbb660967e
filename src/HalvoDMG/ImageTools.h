#pragma once

#include <HalvoDMG/DMGCreationError.h>
#include <Platform/Clock.h>
#include <Platform/ProcessRunner.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stop_token>
#include <string>
#include <string_view>

namespace halvo {

/// A volume that `hdiutil attach` made visible.
struct MountedVolume {
    std::string device{};
    std::filesystem::path mountPoint{};
};

/// Runs the tools that make disk images, and reads what they print.
///
/// Every operation throws DMGCreationError: `OperationNotPermitted` whenever the tool speaks of that, else
/// `CommandFailed` unless said otherwise. They throw ProcessError and CancelledError too.
class ImageTools {
public:
    static constexpr int defaultRetries = 5;

    ImageTools(ProcessRunner& processes, Clock& clock, std::stop_token cancellation)
        : processes(processes), clock(clock), cancellation(std::move(cancellation)) {}

    /// Gives both streams of the tool, one after the other.
    std::string runCommand(const std::string& executable, const Arguments& arguments) const;
    /// The same of hdiutil, which is run anew, after growing pauses, while it says "Resource busy".
    std::string hdiutil(const Arguments& arguments, int retries = defaultRetries) const;
    /// The same for a command that makes the file `product`, of which nothing is left unless it succeeds.
    std::string hdiutilMaking(const std::filesystem::path& product, const Arguments& arguments) const;

    /// Attaches the image, writable, at a place of the system's choice. Cannot be cancelled half-way: a
    /// volume would stay mounted that nobody knows of. Throws `MountFailed`.
    MountedVolume mount(const std::filesystem::path& image) const;
    void detach(const std::filesystem::path& mountPoint) const;

    /// The same tools for cleaning up, which happens after a cancellation too.
    ImageTools uncancelled() const { return {processes, clock, {}}; }

private:
    using BeforeRetry = std::function<void()>;
    std::string hdiutil(const Arguments& arguments, int retries, const std::stop_token& runCancellation,
                        const BeforeRetry& beforeRetry) const;
    struct Outcome {
        Termination termination{};
        std::string output{};
    };
    [[noreturn]] static void fail(const std::string& command, const Outcome& outcome);
    std::string attach(const std::filesystem::path& image) const;
    Outcome run(const std::string& executable, const Arguments& arguments,
                const std::stop_token& runCancellation) const;

    ProcessRunner& processes;
    Clock& clock;
    std::stop_token cancellation;
};

/// The size to give an image, in MB of 2^20 bytes, from what `hdiutil resize -limits` printed: what it needs
/// at least and room for what is added, and never less than 200.
std::int64_t imageSizeInMegabytes(std::string_view limits);

} // namespace halvo
