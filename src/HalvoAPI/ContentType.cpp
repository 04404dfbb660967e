#include "ContentType.h"

#include <Base/Text.h>

#include <array>

namespace halvo {
namespace {

struct KnownType {
    const char* fileExtension;
    const char* mediaType;
};

/// The kinds of file that are uploaded: what a release is packed in, and pictures.
constexpr std::array knownTypes{
    KnownType{"dmg", "application/x-apple-diskimage"},
    KnownType{"zip", "application/zip"},
    KnownType{"gz", "application/gzip"},
    KnownType{"tar", "application/x-tar"},
    KnownType{"png", "image/png"},
    KnownType{"jpg", "image/jpeg"},
    KnownType{"jpeg", "image/jpeg"},
    KnownType{"tif", "image/tiff"},
    KnownType{"tiff", "image/tiff"},
    KnownType{"gif", "image/gif"},
};

} // namespace

std::string contentType(const std::string& fileExtension) {
    const std::string wanted = lowercased(fileExtension);
    for (const KnownType& type : knownTypes)
        if (wanted == type.fileExtension)
            return type.mediaType;
    return "application/octet-stream";
}

} // namespace halvo
