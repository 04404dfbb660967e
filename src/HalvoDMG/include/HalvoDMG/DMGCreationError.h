#pragma once

#include <Base/Failure.h>

#include <string>
#include <variant>

namespace halvo {

/// Why a disk image could not be made.
class DMGCreationError : public Failure {
public:
    struct AliasBuildFailed {
        std::string reason{};
    };
    struct DSStoreWriteFailed {
        std::string reason{};
    };
    using Case = std::variant<AliasBuildFailed, DSStoreWriteFailed>;

    explicit DMGCreationError(Case problem) : Failure(describe(problem)), which(std::move(problem)) {}

    Case which;

private:
    static std::string describe(const Case& which);
};

} // namespace halvo
