#pragma once

#include <Base/URL.h>

#include <optional>

namespace halvo {

/// Which picture a disk image gets as its background.
namespace DMGBackgroundPolicy {
struct Outcome {
    std::optional<URL> custom{}; ///< absent: the generated picture
    bool operator==(const Outcome&) const = default;
};
/// What was asked for outranks what is stored; without a disk image neither counts.
Outcome resolve(const std::optional<URL>& requested, const std::optional<URL>& stored, bool dmgEnabled);
} // namespace DMGBackgroundPolicy

/// Whether the generated background carries the service's line.
namespace WatermarkPolicy {
struct Outcome {
    bool watermark = false;
    bool operator==(const Outcome&) const = default;
};
/// What was asked for outranks what is stored; the default is none.
Outcome resolve(std::optional<bool> requested, std::optional<bool> stored);
/// The value to store for a request.
std::optional<bool> preferenceWrite(std::optional<bool> requested);
} // namespace WatermarkPolicy

} // namespace halvo
