#include <Platform/UserDefaults.h>

#include <Platform/UserDirectories.h>

namespace halvo {

std::unique_ptr<UserDefaults> makeSystemUserDefaults(const std::string& suite, const Environment& environment,
                                                     const std::filesystem::path& homeDirectory,
                                                     const Clock& clock, WarningHandler warn) {
    return std::make_unique<FileUserDefaults>(userConfigDirectory(environment, homeDirectory) / "halvo" /
                                                  (suite + ".json"),
                                              clock, std::move(warn));
}

} // namespace halvo
