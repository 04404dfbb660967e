#pragma once

#include "Commands/S3DestinationOptions.h"

#include <optional>
#include <string>

namespace halvo {

enum class HostingType { halvo, s3 };

/// The options of `halvo setup`. What is absent is asked for.
struct SetupOptions {
    std::optional<std::string> path{};
    std::optional<HostingType> hosting{};
    S3DestinationOptions s3Destination{};
    std::optional<std::string> s3AccessKeyID{};
    std::optional<std::string> s3SecretAccessKey{}; ///< secret
    std::optional<std::string> sparkleKey{};        ///< secret; base64
    bool generateSparkleKey = false;
};

} // namespace halvo
