#pragma once

#include <Base/Failure.h>

#include <filesystem>
#include <string>
#include <variant>

namespace halvo {

/// Code signing that did not come about.
class CodesigningError : public Failure {
public:
    struct AppNotFound {
        std::filesystem::path app{};
    };
    struct DiscoveryFailed {
        std::string text{};
    };
    struct SigningFailed {
        std::string text{};
    };
    /// Raised by those who look a name up among the identities.
    struct IdentityNotFound {
        std::string identity{};
    };
    using Case = std::variant<AppNotFound, DiscoveryFailed, SigningFailed, IdentityNotFound>;
    explicit CodesigningError(Case which) : Failure(describe(which)), which(std::move(which)) {}
    Case which;

private:
    static std::string describe(const Case& which);
};

} // namespace halvo
