#include <HalvoCore/ReleaseRepository.h>

namespace halvo {

std::string ReleaseRepositoryError::describe(const Case& which) {
    struct Describer {
        std::string operator()(const ReleaseNotFound& missing) const {
            return "Release not found: " + missing.shortVersionString + " (" +
                   std::to_string(missing.version) + ")";
        }
        std::string operator()(const NetworkError& error) const {
            return "Network error: " + error.description;
        }
        std::string operator()(const ParseError& error) const { return "Parse error: " + error.text; }
    };
    return std::visit(Describer(), which);
}

} // namespace halvo
