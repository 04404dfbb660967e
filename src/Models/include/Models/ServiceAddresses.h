#pragma once

namespace halvo {

/// Where the hosted service is reached.
inline constexpr const char* serviceAPIHost = "api.halvo.example";
inline constexpr const char* servicePublicHost = "halvo.example";

/// Pages that messages and help point at.
namespace helpAddress {
inline constexpr const char* commandLine = "https://halvo.example/help/cli";
inline constexpr const char* codesigning = "https://halvo.example/help/codesigning";
inline constexpr const char* notarization = "https://halvo.example/help/notarization";
inline constexpr const char* postArchive = "https://halvo.example/help/xcode-post-archive";
inline constexpr const char* provisioningProfiles = "https://halvo.example/help/provisioning-profiles";
inline constexpr const char* sparkle = "https://halvo.example/help/sparkle";
/// Apple's list of a developer's provisioning profiles.
inline constexpr const char* appleProfiles = "https://developer.apple.com/account/resources/profiles/list";
/// Where the account holder signs what Apple asks for.
inline constexpr const char* appleAgreements = "https://developer.apple.com/account";
} // namespace helpAddress

} // namespace halvo
