#pragma once

#include "CommandLine/Command.h"

#include <span>

namespace halvo {

/// The whole help of a command. `path` names it from the root: {"halvo", "config", "show"}. Lines of prose
/// are wrapped at 80 columns.
std::string helpText(const Command& command, const CommandArguments& arguments,
                     std::span<const std::string> path);

/// "halvo config show --bundle-id <bundle-id> [--section <section>]"
std::string usageLine(const Command& command, const CommandArguments& arguments,
                      std::span<const std::string> path);

} // namespace halvo
