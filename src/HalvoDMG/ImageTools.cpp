#include "ImageTools.h"

#include <Base/Text.h>
#include <Platform/Files.h>

#include <algorithm>
#include <chrono>
#include <optional>

namespace halvo {
namespace {

constexpr const char* hdiutilPath = "/usr/bin/hdiutil";
constexpr std::string_view notPermitted = "Operation not permitted";
constexpr std::chrono::milliseconds firstPause{1000};

bool mentions(const std::string& output, std::string_view text) {
    return output.find(text) != std::string::npos;
}

int exitCode(const Termination& termination) {
    constexpr int signalled = 128; // as shells count
    return termination.kind == Termination::Kind::exited ? termination.value : signalled + termination.value;
}

std::string commandText(const std::string& name, const Arguments& arguments) {
    return name + " " + joined(arguments, " ");
}

/// A line such as "/dev/disk5s1  <tab> Apple_APFS  <tab> /Volumes/My App": the device, its kind, and from the
/// first word with a slash in front the mount point, blanks and all; empty for a device without one. Absent
/// for lines of any other form, such as a licence that stands before the list.
std::optional<MountedVolume> parseAttachLine(std::string_view line) {
    constexpr std::string_view blanks = " \t";
    line = trimmed(line);
    if (!line.starts_with("/dev/"))
        return std::nullopt;
    std::size_t end = std::min(line.find_first_of(blanks), line.size());
    MountedVolume volume{.device = std::string(line.substr(0, end))};
    while (end < line.size()) {
        const std::size_t word = line.find_first_not_of(blanks, end);
        if (line[word] == '/') {
            volume.mountPoint = line.substr(word);
            break;
        }
        end = std::min(line.find_first_of(blanks, word), line.size());
    }
    return volume;
}

} // namespace

[[noreturn]] void ImageTools::fail(const std::string& command, const Outcome& outcome) {
    if (mentions(outcome.output, notPermitted))
        throw DMGCreationError(DMGCreationError::OperationNotPermitted{command, outcome.output});
    throw DMGCreationError(
        DMGCreationError::CommandFailed{command, exitCode(outcome.termination), outcome.output});
}

std::int64_t imageSizeInMegabytes(std::string_view limits) {
    constexpr std::int64_t sectorsInMegabyte = 2048;
    constexpr std::int64_t room = 21;
    constexpr std::int64_t least = 200;
    constexpr std::string_view blanks = " \t\r\n";
    const std::size_t start = std::min(limits.find_first_not_of(blanks), limits.size());
    const std::string_view token = limits.substr(start, limits.find_first_of(blanks, start) - start);
    return std::max(parseInteger(token).value_or(0) / sectorsInMegabyte + room, least);
}

ImageTools::Outcome ImageTools::run(const std::string& executable, const Arguments& arguments,
                                    const std::stop_token& runCancellation) const {
    // Ctrl-C at a terminal goes to the terminal's whole group: these tools end when Halvo says so.
    const ProcessResult result = processes.run({.executable = executable,
                                                .arguments = arguments,
                                                .ownGroup = true,
                                                .cancellation = runCancellation});
    std::vector<std::string> parts;
    for (const std::string* stream : {&result.standardOutput, &result.standardError})
        if (const std::string_view text = trimmed(*stream); !text.empty())
            parts.emplace_back(text);
    return {result.termination, parts.empty() ? "No output" : joined(parts, "\n")};
}

std::string ImageTools::runCommand(const std::string& executable, const Arguments& arguments) const {
    const Outcome outcome = run(executable, arguments, cancellation);
    if (!outcome.termination.succeeded())
        fail(commandText(executable, arguments), outcome);
    return outcome.output;
}

std::string ImageTools::hdiutil(const Arguments& arguments, int retries,
                                const std::stop_token& runCancellation,
                                const BeforeRetry& beforeRetry) const {
    for (int attempt = 1;; ++attempt) {
        const Outcome outcome = run(hdiutilPath, arguments, runCancellation);
        if (outcome.termination.succeeded())
            return outcome.output;
        if (attempt > retries || !mentions(outcome.output, "Resource busy") ||
            mentions(outcome.output, notPermitted))
            fail(commandText("hdiutil", arguments), outcome);
        beforeRetry();
        clock.sleep(firstPause * attempt, cancellation);
    }
}

std::string ImageTools::hdiutil(const Arguments& arguments, int retries) const {
    return hdiutil(arguments, retries, cancellation, [] {});
}

std::string ImageTools::hdiutilMaking(const std::filesystem::path& product,
                                      const Arguments& arguments) const {
    const auto removeProduct = [&product] { removeQuietly(product); };
    try {
        return hdiutil(arguments, defaultRetries, cancellation, removeProduct);
    } catch (...) {
        removeProduct();
        throw;
    }
}

MountedVolume ImageTools::mount(const std::filesystem::path& image) const {
    const std::string output = attach(image);
    std::optional<std::string> unmounted;
    for (const std::string& line : split(output, '\n')) {
        const std::optional<MountedVolume> volume = parseAttachLine(line);
        if (volume && !volume->mountPoint.empty())
            return *volume;
        if (volume && !unmounted)
            unmounted = volume->device;
    }
    if (unmounted) {
        try {
            uncancelled().detach(*unmounted);
        } catch (...) { // that nothing was mounted is the failure to report
        }
    }
    throw DMGCreationError(DMGCreationError::MountFailed{"Could not parse mount point from hdiutil output"});
}

std::string ImageTools::attach(const std::filesystem::path& image) const {
    try {
        return hdiutil({"attach", image.string(), "-mountrandom", "/Volumes", "-readwrite", "-noverify",
                        "-noautoopen", "-nobrowse"},
                       defaultRetries, {}, [] {});
    } catch (const DMGCreationError& error) {
        if (const auto* failed = std::get_if<DMGCreationError::CommandFailed>(&error.which))
            throw DMGCreationError(DMGCreationError::MountFailed{failed->output});
        throw;
    }
}

void ImageTools::detach(const std::filesystem::path& mountPoint) const {
    hdiutil({"detach", mountPoint.string(), "-force"});
}

} // namespace halvo
