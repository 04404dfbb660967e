#pragma once

#include <Platform/Environment.h>

#include <filesystem>

namespace halvo {

/// Where programs keep a user's settings: `$XDG_CONFIG_HOME`, else `~/.config`. A relative path in the
/// variable counts as none, as the XDG Base Directory Specification wants it.
std::filesystem::path userConfigDirectory(const Environment& environment,
                                          const std::filesystem::path& homeDirectory);

/// Where programs keep a user's data: `$XDG_DATA_HOME`, else `~/.local/share`, by the same rule.
std::filesystem::path userDataDirectory(const Environment& environment,
                                        const std::filesystem::path& homeDirectory);

} // namespace halvo
