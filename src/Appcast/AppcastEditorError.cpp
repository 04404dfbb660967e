#include <Appcast/AppcastEditorError.h>

namespace halvo {

std::string AppcastEditorError::describe(const Case& which) {
    if (const auto* invalid = std::get_if<InvalidStructure>(&which))
        return "Invalid appcast structure: " + invalid->text;
    const auto& missing = std::get<ItemNotFound>(which);
    return "Item not found: " + missing.shortVersionString + " (" + std::to_string(missing.version) + ")";
}

AppcastXMLError::AppcastXMLError(const std::string& problem, int line)
    : Failure("The appcast cannot be used" + (line > 0 ? " (line " + std::to_string(line) + ")" : "") + ": " +
              problem),
      line(line) {}

} // namespace halvo
