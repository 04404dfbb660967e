#include <HalvoNotarization/XcodeArchiveError.h>

namespace halvo {

std::string XcodeArchiveError::describe(const Case& which) {
    struct Describer {
        std::string operator()(const ArchiveFailed& error) const { return "Archive failed: " + error.text; }
        std::string operator()(const FailedToParseSchemes& error) const {
            return "Failed to parse schemes: " + error.text;
        }
        std::string operator()(const FailedToReadBuildSettings& error) const {
            return "Failed to read build settings: " + error.text;
        }
        std::string operator()(const ProjectNotFound& error) const {
            return "Project not found at " + error.project.string();
        }
        std::string operator()(const ProvisioningProfileRequired& error) const { return error.text; }
        std::string operator()(const SchemeNotFound& error) const {
            return "Scheme '" + error.scheme + "' not found";
        }
        std::string operator()(const NoSchemesFound&) const { return "No schemes found in project"; }
    };
    return std::visit(Describer{}, which);
}

} // namespace halvo
