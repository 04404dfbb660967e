#include <Base/Failure.h>

namespace halvo {

std::string describe(const std::exception& error) {
    if (const auto* failure = dynamic_cast<const Failure*>(&error))
        return failure->description();
    return error.what();
}

std::string adviceOf(const std::exception& error) {
    const auto* failure = dynamic_cast<const Failure*>(&error);
    return failure ? failure->advice() : std::string();
}

} // namespace halvo
