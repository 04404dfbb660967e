#pragma once

#include <string_view>

/// The web pages that messages of this program point to.
namespace halvo::help {

inline constexpr std::string_view notarizationKeychainProfiles = "https://halvo.example/help/notarization";
/// Apple's list of the team's provisioning profiles.
inline constexpr std::string_view appleProfileList =
    "https://developer.apple.com/account/resources/profiles/list";

} // namespace halvo::help
