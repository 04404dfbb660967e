#include <Models/Artifact.h>

#include <Base/Text.h>
#include <Base/Unicode.h>

#include <utility>

namespace halvo {
namespace {

/// The kinds of file that are uploaded: what a release is packed in, and pictures.
constexpr std::pair<std::string_view, const char*> mediaTypes[] = {
    {"dmg", "application/x-apple-diskimage"},
    {"zip", "application/zip"},
    {"gz", "application/gzip"},
    {"tar", "application/x-tar"},
    {"png", "image/png"},
    {"jpg", "image/jpeg"},
    {"jpeg", "image/jpeg"},
    {"tif", "image/tiff"},
    {"tiff", "image/tiff"},
    {"gif", "image/gif"},
};

} // namespace

std::string artifactName(std::string_view name) {
    std::string safe = composed(name);
    for (char& character : safe)
        if (character == '/' || static_cast<unsigned char>(character) < 0x20 || character == 0x7F)
            character = '-';
    safe.erase(0, safe.find_first_not_of('.'));
    return safe.empty() ? "App" : safe;
}

std::string contentType(std::string_view fileExtension) {
    const std::string wanted = lowercased(fileExtension);
    for (const auto& [known, mediaType] : mediaTypes)
        if (wanted == known)
            return mediaType;
    return "application/octet-stream";
}

} // namespace halvo
