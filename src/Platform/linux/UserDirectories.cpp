#include <Platform/UserDirectories.h>

namespace halvo {
namespace {

std::filesystem::path absoluteOr(const Environment& environment, const std::string& variable,
                                 const std::filesystem::path& fallback) {
    const std::filesystem::path named = environment.nonEmpty(variable).value_or("");
    return named.is_absolute() ? named : fallback;
}

} // namespace

std::filesystem::path userConfigDirectory(const Environment& environment,
                                          const std::filesystem::path& homeDirectory) {
    return absoluteOr(environment, "XDG_CONFIG_HOME", homeDirectory / ".config");
}

std::filesystem::path userDataDirectory(const Environment& environment,
                                        const std::filesystem::path& homeDirectory) {
    return absoluteOr(environment, "XDG_DATA_HOME", homeDirectory / ".local/share");
}

} // namespace halvo
