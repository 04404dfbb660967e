#include "Commands/Config/MaskedSecret.h"

#include <Base/Unicode.h>

namespace halvo {

std::string masked(const std::optional<std::string>& secret) {
    constexpr std::size_t shown = 4;
    if (!secret || secret->empty())
        return {};
    const bool isLong = secret->size() >= 4 * shown && displayWidth(*secret) == secret->size();
    return "\u2022\u2022\u2022\u2022" + (isLong ? secret->substr(secret->size() - shown) : std::string());
}

} // namespace halvo
