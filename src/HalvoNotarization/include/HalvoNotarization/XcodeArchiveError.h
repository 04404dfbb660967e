#pragma once

#include <Base/Failure.h>

#include <filesystem>

namespace halvo {

/// A project that did not become an archive, or could not be asked.
struct XcodeArchiveErrorCases {
    struct ArchiveFailed {
        std::string text{};
        std::string description() const { return "Archive failed: " + text; }
    };
    struct FailedToParseSchemes {
        std::string text{};
        std::string description() const { return "Failed to parse schemes: " + text; }
    };
    struct FailedToReadBuildSettings {
        std::string text{};
        std::string description() const { return "Failed to read build settings: " + text; }
    };
    struct ProjectNotFound {
        std::filesystem::path project{};
        std::string description() const { return "Project not found at " + project.string(); }
    };
    struct ProvisioningProfileRequired {
        std::string text{};
        std::string description() const { return text; }
    };
    /// Raised by those who choose among the schemes, as is the next.
    struct SchemeNotFound {
        std::string scheme{};
        std::string description() const { return "Scheme '" + scheme + "' not found"; }
    };
    struct NoSchemesFound {
        std::string description() const { return "No schemes found in project"; }
    };
    using Case = std::variant<ArchiveFailed, FailedToParseSchemes, FailedToReadBuildSettings, ProjectNotFound,
                              ProvisioningProfileRequired, SchemeNotFound, NoSchemesFound>;
};
using XcodeArchiveError = FailureOf<XcodeArchiveErrorCases>;

} // namespace halvo
