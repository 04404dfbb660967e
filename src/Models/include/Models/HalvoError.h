#pragma once

#include <Base/Failure.h>

namespace halvo {

/// A release that cannot start with the settings that the app has.
class HalvoError : public Failure {
public:
    enum class Case { missingReleaseSettings, archivedAppRequiresDMG };

    explicit HalvoError(Case problem) : Failure(describe(problem)), which(problem) {}

    Case which;

private:
    static std::string describe(Case which);
};

} // namespace halvo
