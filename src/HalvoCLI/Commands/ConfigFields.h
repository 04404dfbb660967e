#pragma once

#include "Commands/Commands.h"

#include <Base/Text.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace halvo {

enum class ConfigSection { release, s3, app };
enum class ReleaseField { codesignIdentity, keychainProfile, dmgEnabled, showWatermark, dmgBackground };
enum class S3Field { bucket, region, endpoint, pathPrefix, publicBaseURL, appcastPath };
enum class AppField {
    customDomain,
    releaseNotesURL,
    stripeSecretKey,
    stripeWebhookSecret,
    stripeManagedPayments,
};

/// How one case of an enumeration is written on the command line, and what it stands for.
struct ConfigWord {
    std::string_view word{};
    std::string_view help{};
};

/// The words of an enumeration, in the order of its cases.
template<typename Case>
inline constexpr std::array<ConfigWord, 0> configWords{};

template<>
inline constexpr std::array configWords<ConfigSection>{
    ConfigWord{"release", "Release settings (codesigning, notarization)"},
    ConfigWord{"s3", "S3 storage settings (bucket, region, etc.)"},
    ConfigWord{"app", "Server app settings (custom domain, release notes URL)"}};

template<>
inline constexpr std::array configWords<ReleaseField>{
    ConfigWord{"codesign-identity", "Developer ID identity for codesigning"},
    ConfigWord{"keychain-profile", "Keychain profile for notarization"},
    ConfigWord{"dmg-enabled", "Whether to create DMG (true/false)"},
    ConfigWord{"show-watermark", "Whether the generated background shows the watermark (true/false)"},
    ConfigWord{"dmg-background", "Custom DMG background image path; an empty string clears it"}};

template<>
inline constexpr std::array configWords<S3Field>{ConfigWord{"bucket", "S3 bucket name"},
                                                 ConfigWord{"region", "S3 region (e.g., us-east-1)"},
                                                 ConfigWord{"endpoint", "Custom S3 endpoint URL"},
                                                 ConfigWord{"path-prefix", "Path prefix for uploaded files"},
                                                 ConfigWord{"public-url", "Public base URL for downloads"},
                                                 ConfigWord{"appcast-path", "Path to appcast.xml file"}};

template<>
inline constexpr std::array configWords<AppField>{
    ConfigWord{"custom-domain", "Custom domain for the app"},
    ConfigWord{"release-notes-url", "URL for full release notes"},
    ConfigWord{"stripe-secret-key", "Stripe secret key"},
    ConfigWord{"stripe-webhook-secret", "Stripe webhook signing secret"},
    ConfigWord{"stripe-managed-payments", "Enable Stripe managed payments (true/false)"}};

template<typename Case>
std::string wordOf(Case value) {
    return std::string(configWords<Case>[static_cast<std::size_t>(value)].word);
}

/// The case that a word stands for, written exactly so; absent for any other word.
template<typename Case>
std::optional<Case> parseConfigWord(const std::string& text) {
    const auto& words = configWords<Case>;
    const auto found = std::ranges::find(words, std::string_view(text), &ConfigWord::word);
    if (found == words.end())
        return std::nullopt;
    return static_cast<Case>(found - words.begin());
}

template<typename Case>
std::vector<std::string> allConfigWords() {
    std::vector<std::string> words;
    words.reserve(std::size(configWords<Case>));
    for (const ConfigWord& word : configWords<Case>)
        words.emplace_back(word.word);
    return words;
}

/// A title and a line for each word, with its explanation beside it.
template<typename Case>
std::string configWordList(const std::string& title) {
    std::string lines = title;
    for (const auto& [word, help] : configWords<Case>)
        lines += "\n  " + std::string(word) + std::string(25 - word.size(), ' ') + std::string(help);
    return lines;
}

/// A secret as outputs have it: enough to tell two apart, and of no use to anybody else. Four bullets and, of
/// a long one, the last four characters; nothing for an empty or absent one.
std::string masked(const std::optional<std::string>& secret);

std::unique_ptr<Command> makeConfigSetCommand();

} // namespace halvo
