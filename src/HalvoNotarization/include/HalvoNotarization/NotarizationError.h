#pragma once

#include <Base/Failure.h>

#include <filesystem>
#include <string>
#include <variant>

namespace halvo {

/// Notarization that did not come about.
class NotarizationError : public Failure {
public:
    struct FileNotFound {
        std::filesystem::path file{};
    };
    struct SubmissionFailed {
        std::string text{};
    };
    struct StapleFailed {
        std::string text{};
    };
    struct StoreCredentialsFailed {
        std::string text{};
    };
    /// Raised by those who are given a file that should have its ticket already.
    struct NotNotarized {};
    using Case =
        std::variant<FileNotFound, SubmissionFailed, StapleFailed, StoreCredentialsFailed, NotNotarized>;
    explicit NotarizationError(Case which) : Failure(describe(which)), which(std::move(which)) {}
    Case which;

private:
    static std::string describe(const Case& which);
};

} // namespace halvo
