#pragma once

#include <Base/Failure.h>

#include <filesystem>

namespace halvo {

struct CodesigningErrorCases {
    struct AppNotFound {
        std::filesystem::path app{};
        std::string description() const { return "Application not found at " + app.string(); }
    };
    struct DiscoveryFailed {
        std::string text{};
        std::string description() const { return "Failed to discover codesigning identities: " + text; }
    };
    struct SigningFailed {
        std::string text{};
        std::string description() const { return "Codesigning failed: " + text; }
    };
    /// Raised by those who look a name up among the identities.
    struct IdentityNotFound {
        std::string identity{};
        std::string description() const { return "Codesigning identity not found: " + identity; }
    };
    using Case = std::variant<AppNotFound, DiscoveryFailed, SigningFailed, IdentityNotFound>;
};
using CodesigningError = FailureOf<CodesigningErrorCases>;

} // namespace halvo
