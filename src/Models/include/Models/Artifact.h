#pragma once

#include <string>
#include <string_view>

namespace halvo {

/// A name as it may stand in a file name or an object key: in composed form, with "-" in place of "/" and
/// control characters, without leading dots. "App" when nothing is left.
std::string artifactName(std::string_view name);

/// The media type of an uploaded file by its extension, in any case of letters; "application/octet-stream"
/// for one that is not known.
std::string contentType(std::string_view fileExtension);

} // namespace halvo
