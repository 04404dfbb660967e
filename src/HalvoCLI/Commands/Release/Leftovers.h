#pragma once

#include <HalvoNotarization/ArchiveExporter.h>

#include <filesystem>
#include <string>
#include <string_view>

namespace halvo {

/// A line for the report of a failure about a file from which another try can go on: "\nThe archive stays at
/// P; `halvo release P` exports it without building again."
std::string keptFileLine(std::string_view kind, const std::filesystem::path& file, std::string_view use);

/// "\nThe export folder stays at P."; empty when nothing was exported.
std::string exportFolderLine(const ArchiveExportError& error);

} // namespace halvo
