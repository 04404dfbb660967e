#pragma once

#include <Base/URL.h>
#include <HalvoDMG/PictureSizes.h>

#include <cstdint>
#include <optional>
#include <string>

#include <nlohmann/json_fwd.hpp>

namespace halvo {

/// How the window of a disk image looks. Lengths are in points; positions of icons are those of their
/// centres, from the top left corner of the window's content. The defaults are the standard layout.
struct DMGConfiguration {
    std::optional<std::string> volumeName{}; ///< absent: the app's name
    std::optional<URL> volumeIcon{};         ///< an ICNS file
    std::int64_t windowWidth = 600;
    std::int64_t windowHeight = 400;
    std::int64_t windowX = 200; ///< on the screen
    std::int64_t windowY = 120;
    std::int64_t iconSize = 100;
    std::int64_t textSize = 12;
    std::int64_t appIconX = 150;
    std::int64_t appIconY = 174;
    std::int64_t applicationsLinkX = 450;
    std::int64_t applicationsLinkY = 174;
    std::optional<URL> backgroundImage{}; ///< absent: one is generated

    PointSize windowSize() const { return {windowWidth, windowHeight}; }

    bool operator==(const DMGConfiguration&) const = default;
};

// Keys are the names of the fields.
void to_json(nlohmann::json& json, const DMGConfiguration& configuration);
void from_json(const nlohmann::json& json, DMGConfiguration& configuration); ///< throws ModelError

} // namespace halvo
