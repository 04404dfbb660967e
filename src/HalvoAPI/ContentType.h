#pragma once

#include <string>

namespace halvo {

/// The media type of a file by its extension, in any case of letters; "application/octet-stream" for one that
/// is not known.
std::string contentType(const std::string& fileExtension);

} // namespace halvo
