#pragma once

#include <Base/Bytes.h>
#include <Base/Date.h>
#include <Base/Failure.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace halvo {

enum class ProfileType { development, developerID, enterprise, appStore, unknown };

/// As Apple's pages name it: "Developer ID", "Enterprise (In-House)".
std::string_view displayName(ProfileType type);

/// A provisioning profile that cannot be read, or cannot be shipped.
struct ProvisioningProfileErrorCases {
    struct Unreadable {
        std::string text{};
        std::string description() const { return "Could not read embedded provisioning profile: " + text; }
    };
    struct DevelopmentProfileEmbedded {
        std::string name{};
        std::int64_t deviceCount = 0;
        std::string description() const;
    };
    struct WrongTypeForDeveloperID {
        std::string name{};
        ProfileType type = ProfileType::unknown;
        std::string description() const;
    };
    struct Expired {
        std::string name{};
        Date date{};
        std::string description() const;
    };
    struct XcodeManaged {
        std::string name{};
        std::string description() const;
    };
    struct MalformedPlist {
        std::string description() const { return "Embedded provisioning profile is not a valid plist"; }
    };
    using Case = std::variant<Unreadable, DevelopmentProfileEmbedded, WrongTypeForDeveloperID, Expired,
                              XcodeManaged, MalformedPlist>;
};
using ProvisioningProfileError = FailureOf<ProvisioningProfileErrorCases>;

/// What a provisioning profile allows an app to do, and where.
struct ProvisioningProfile {
    ProfileType type = ProfileType::unknown;
    std::string name = "Unknown";
    std::optional<std::string> teamIdentifier{};
    std::int64_t provisionedDeviceCount = 0; ///< the machines that may launch the app; 0: no such list
    std::optional<std::string> uuid{};
    std::vector<std::string> certificateNames{}; ///< common names of the certificates that may sign
    std::optional<Date> expirationDate{};
    std::optional<std::string> bundleIdentifier{}; ///< absent for a wildcard profile
    bool isXcodeManaged = false;

    bool operator==(const ProvisioningProfile&) const = default;

    /// Reads the property list inside a profile. Throws ProvisioningProfileError::MalformedPlist.
    static ProvisioningProfile parse(ByteView plist);

    static ProfileType classify(std::int64_t provisionedDeviceCount, bool provisionsAllDevices,
                                const std::vector<std::string>& certificateNames);

    /// Throws ProvisioningProfileError::WrongTypeForDeveloperID, XcodeManaged or Expired, in this order, when
    /// manual signing for Developer ID distribution cannot use the profile.
    void assertUsableForDeveloperIDExport(Date now) const;
};

} // namespace halvo
