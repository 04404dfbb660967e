#include <HalvoNotarization/NotarizationError.h>

#include <Models/ServiceAddresses.h>

namespace halvo {

std::string NotarizationError::describe(const Case& which) {
    struct Describer {
        std::string operator()(const FileNotFound& error) const {
            return "File not found at " + error.file.string();
        }
        std::string operator()(const SubmissionFailed& error) const {
            return "Notarization submission failed: " + error.text;
        }
        std::string operator()(const StapleFailed& error) const {
            return "Stapling notarization ticket failed: " + error.text;
        }
        std::string operator()(const StoreCredentialsFailed& error) const {
            return "Storing notarization credentials failed: " + error.text;
        }
        std::string operator()(const NotNotarized&) const {
            return "The provided binary is not notarized. Notarize it before releasing to prevent Gatekeeper "
                   "issues for your users, or setup Halvo to automatically notarize your app. Learn more: " +
                   std::string(helpAddress::notarization);
        }
    };
    return std::visit(Describer{}, which);
}

} // namespace halvo
