#pragma once

namespace halvo {

/// The prefix is part of the format; clients know the namespace.
inline constexpr const char* sparklePrefix = "sparkle";
inline constexpr const char* sparkleURI = "http://www.andymatuschak.org/xml-namespaces/sparkle";
inline constexpr const char* dublinCorePrefix = "dc";
inline constexpr const char* dublinCoreURI = "http://purl.org/dc/elements/1.1/";

} // namespace halvo
