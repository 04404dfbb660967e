#pragma once

#include <Base/Failure.h>

#include <filesystem>
#include <vector>

namespace halvo {

/// What the notary service found fault with.
struct NotarizationIssue {
    std::string path{};
    std::string severity{};
    std::string message{};
    std::string architecture{}; ///< empty when it is about none
    bool operator==(const NotarizationIssue&) const = default;
};

struct NotarizationErrorCases {
    struct FileNotFound {
        std::filesystem::path file{};
        std::string description() const { return "File not found at " + file.string(); }
    };
    struct SubmissionFailed {
        std::string text{};
        std::string description() const { return "Notarization submission failed: " + text; }
    };
    /// The service's verdict.
    struct Rejected {
        std::string submission{}; ///< empty when the tool did not name it
        std::string status{};     ///< "Invalid", "Rejected"
        std::string summary{};    ///< the service's sentence, or what the tool said where there is no log
        std::vector<NotarizationIssue> issues{};
        std::string headline() const;    ///< without the issues
        std::string description() const; ///< with a line for each issue
    };
    struct AgreementRequired {
        std::string text{};
        std::string description() const;
    };
    struct ProfileMissing {
        std::string profile{};
        std::string text{};
        std::string description() const;
    };
    struct Unreachable {
        std::string submission{}; ///< empty when the connection was lost before there was one
        std::string text{};
        std::string description() const;
    };
    struct StapleFailed {
        std::string text{};
        std::string description() const { return "Stapling notarization ticket failed: " + text; }
    };
    struct StoreCredentialsFailed {
        std::string text{};
        std::string description() const { return "Storing notarization credentials failed: " + text; }
    };
    /// Raised by those who are given a file that should have its ticket already.
    struct NotNotarized {
        std::string description() const;
    };
    using Case = std::variant<FileNotFound, SubmissionFailed, Rejected, AgreementRequired, ProfileMissing,
                              Unreachable, StapleFailed, StoreCredentialsFailed, NotNotarized>;
};
using NotarizationError = FailureOf<NotarizationErrorCases>;

} // namespace halvo
