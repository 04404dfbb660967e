#pragma once

#include <Base/Failure.h>

#include <filesystem>
#include <string>
#include <variant>

namespace halvo {

/// A project that did not become an archive, or could not be asked.
class XcodeArchiveError : public Failure {
public:
    struct ArchiveFailed {
        std::string text{};
    };
    struct FailedToParseSchemes {
        std::string text{};
    };
    struct FailedToReadBuildSettings {
        std::string text{};
    };
    struct ProjectNotFound {
        std::filesystem::path project{};
    };
    struct ProvisioningProfileRequired {
        std::string text{};
    };
    /// Raised by those who choose among the schemes, as is the next.
    struct SchemeNotFound {
        std::string scheme{};
    };
    struct NoSchemesFound {};
    using Case = std::variant<ArchiveFailed, FailedToParseSchemes, FailedToReadBuildSettings, ProjectNotFound,
                              ProvisioningProfileRequired, SchemeNotFound, NoSchemesFound>;
    explicit XcodeArchiveError(Case which) : Failure(describe(which)), which(std::move(which)) {}
    Case which;

private:
    static std::string describe(const Case& which);
};

} // namespace halvo
