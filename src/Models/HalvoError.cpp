#include <Models/HalvoError.h>

namespace halvo {

std::string HalvoError::describe(Case which) {
    switch (which) {
    case Case::missingReleaseSettings:
        return "Halvo is currently not properly setup for this project. Please go to settings and define a "
               "codesign identity and keychain profile and try again.";
    case Case::archivedAppRequiresDMG:
        return "Xcode archives require DMG format to be enabled. Archives need to be exported and "
               "codesigned, "
               "which is only supported with DMG packaging. Please enable DMG in your release settings.";
    }
    return {};
}

} // namespace halvo
