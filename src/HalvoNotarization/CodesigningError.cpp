#include <HalvoNotarization/CodesigningError.h>

namespace halvo {

std::string CodesigningError::describe(const Case& which) {
    struct Describer {
        std::string operator()(const AppNotFound& error) const {
            return "Application not found at " + error.app.string();
        }
        std::string operator()(const DiscoveryFailed& error) const {
            return "Failed to discover codesigning identities: " + error.text;
        }
        std::string operator()(const SigningFailed& error) const {
            return "Codesigning failed: " + error.text;
        }
        std::string operator()(const IdentityNotFound& error) const {
            return "Codesigning identity not found: " + error.identity;
        }
    };
    return std::visit(Describer{}, which);
}

} // namespace halvo
