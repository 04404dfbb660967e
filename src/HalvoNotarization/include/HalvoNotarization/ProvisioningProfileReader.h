#pragma once

#include <HalvoNotarization/ProvisioningProfile.h>
#include <Platform/ProcessRunner.h>

#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>

namespace halvo {

/// Reads provisioning profiles, whose envelope `security cms` opens, and puts them where Xcode looks.
class ProvisioningProfileReader {
public:
    explicit ProvisioningProfileReader(ProcessRunner& processes, std::stop_token cancellation = {})
        : processes(processes), cancellation(std::move(cancellation)) {}

    /// Throws ProvisioningProfileError::Unreadable and MalformedPlist.
    ProvisioningProfile readFile(const std::filesystem::path& file);
    /// The profile inside an app bundle; absent when it has none.
    std::optional<ProvisioningProfile> readEmbedded(const std::filesystem::path& app);

    /// Throws ProvisioningProfileError::DevelopmentProfileEmbedded when the profile inside the app lets only
    /// some machines launch it.
    void assertDistributable(const std::filesystem::path& app);

    /// Copies a profile to both folders where versions of Xcode look, replacing what they hold under that
    /// UUID. `libraryDirectory` is the user's `~/Library`. Throws FileError, and
    /// ProvisioningProfileError::Unreadable for a UUID that is not a file name.
    static void install(const std::filesystem::path& file, const std::string& uuid,
                        const std::filesystem::path& libraryDirectory);

private:
    ProcessRunner& processes;
    std::stop_token cancellation;
};

} // namespace halvo
