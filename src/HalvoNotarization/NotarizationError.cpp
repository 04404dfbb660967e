#include <HalvoNotarization/NotarizationError.h>

#include <Models/ServiceAddresses.h>

namespace halvo {

using Cases = NotarizationErrorCases;

std::string Cases::Rejected::headline() const {
    std::string text = "Notarization submission failed: Apple's notary service answered \"" + status + "\"";
    if (!submission.empty())
        text += " to submission " + submission;
    return text + (summary.empty() ? "." : ": " + summary);
}

std::string Cases::Rejected::description() const {
    std::string text = headline();
    for (const NotarizationIssue& issue : issues) {
        text.append("\n")
            .append(issue.severity)
            .append(": ")
            .append(issue.path)
            .append(": ")
            .append(issue.message);
        if (!issue.architecture.empty())
            text.append(" (").append(issue.architecture).append(")");
    }
    return text;
}

std::string Cases::AgreementRequired::description() const {
    return "Apple asks your team to sign an agreement before it notarizes. The account holder signs it at " +
           std::string(helpAddress::appleAgreements) + "; then release again. notarytool said: " + text;
}

std::string Cases::ProfileMissing::description() const {
    return "The keychain has no notarization profile \"" + profile +
           "\". Store it with `xcrun notarytool store-credentials " + profile +
           "`, or pass another one with --keychain-profile. notarytool said: " + text;
}

std::string Cases::Unreachable::description() const {
    const std::string next = submission.empty()
                                 ? "Check the connection and release again."
                                 : "Apple goes on with submission " + submission +
                                       " meanwhile. Check the connection; `xcrun notarytool info " +
                                       submission + "` tells the verdict.";
    return "The connection to Apple's notary service failed. " + next + " notarytool said: " + text;
}

std::string Cases::NotNotarized::description() const {
    return "The provided binary is not notarized. Notarize it before releasing to prevent Gatekeeper issues for your users, or setup Halvo to automatically notarize your app. Learn more: " +
           std::string(helpAddress::notarization);
}

} // namespace halvo
