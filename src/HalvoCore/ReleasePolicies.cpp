#include <HalvoCore/ReleasePolicies.h>

namespace halvo {

DMGBackgroundPolicy::Outcome DMGBackgroundPolicy::resolve(const std::optional<URL>& requested,
                                                          const std::optional<URL>& stored, bool dmgEnabled) {
    if (!dmgEnabled)
        return {};
    return {requested ? requested : stored};
}

WatermarkPolicy::Outcome WatermarkPolicy::resolve(std::optional<bool> requested, std::optional<bool> stored) {
    return {requested.value_or(stored.value_or(false))};
}

std::optional<bool> WatermarkPolicy::preferenceWrite(std::optional<bool> requested) { return requested; }

} // namespace halvo
