#pragma once

#include <optional>
#include <string_view>

namespace halvo {

/// The back end of an app: the hosted service, or an S3 bucket with an appcast.
enum class AppType { halvo, s3 };

std::string_view rawValue(AppType type);
std::optional<AppType> parseAppType(std::string_view text);

} // namespace halvo
