#include <HalvoDMG/DMGCreationError.h>

namespace halvo {
namespace {

struct Sentence {
    std::string operator()(const DMGCreationError::AliasBuildFailed& failure) const {
        return "Failed to build Carbon alias data: " + failure.reason;
    }
    std::string operator()(const DMGCreationError::DSStoreWriteFailed& failure) const {
        return "Failed to write .DS_Store: " + failure.reason;
    }
};

} // namespace

std::string DMGCreationError::describe(const Case& which) { return std::visit(Sentence{}, which); }

} // namespace halvo
