#include "Commands/Release/Leftovers.h"

#include <Base/Text.h>

namespace halvo {
namespace {

/// As it can be pasted into a shell.
std::string quoted(const std::filesystem::path& path) {
    const std::string text = path.string();
    if (text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/._-+@%") ==
        std::string::npos)
        return text;
    return "'" + replacingAll(text, "'", "'\\''") + "'";
}

} // namespace

std::string keptFileLine(std::string_view kind, const std::filesystem::path& file, std::string_view use) {
    std::string line = "\nThe ";
    line.append(kind).append(" stays at ").append(file.string());
    return line.append("; `halvo release ").append(quoted(file)).append("` ").append(use) +
           " without building again.";
}

std::string exportFolderLine(const ArchiveExportError& error) {
    if (error.exportFolder.empty())
        return "";
    return "\nThe export folder stays at " + error.exportFolder.string() + ".";
}

} // namespace halvo
