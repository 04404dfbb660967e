#pragma once

#include <Platform/Environment.h>

#include <filesystem>
#include <string>

namespace halvo {

/// Where the tools of macOS lie on this machine.
class ToolPaths {
public:
    /// `toolbox` holds Halvo's own stand-ins, laid out as macOS lays out the originals. `HALVO_TOOL_ROOT` in
    /// the environment takes the place of every other root.
    ToolPaths(const Environment& environment, std::filesystem::path toolbox);

    /// The file to start for an absolute path of macOS: below `HALVO_TOOL_ROOT` when that is set, else the
    /// path itself when it exists here, else the one in the toolbox. A name alone is not a tool of macOS; it
    /// is looked for on `PATH`. Whether the result exists is not checked.
    std::filesystem::path resolve(const std::filesystem::path& executable) const;

    /// Whether this machine, or `HALVO_TOOL_ROOT`, has that tool of macOS itself: no stand-in.
    bool has(const std::filesystem::path& executable) const;

private:
    std::filesystem::path root;
    std::filesystem::path toolbox;
    std::string searchPath;
};

/// `libexec/halvo` beside the running executable or beside its folder, the first that exists; empty when it
/// cannot be told where the executable is.
std::filesystem::path installedToolbox();

} // namespace halvo
