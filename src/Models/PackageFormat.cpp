#include <Models/PackageFormat.h>

namespace {

std::size_t mixed(std::size_t seed, std::size_t value) {
    return seed ^ (value + 0x9E3779B97F4A7C15 + (seed << 6) + (seed >> 2));
}

} // namespace

std::size_t std::hash<halvo::PackageFormat>::operator()(const halvo::PackageFormat& format) const noexcept {
    const auto* dmg = std::get_if<halvo::PackageFormat::DMG>(&format.value);
    if (dmg == nullptr)
        return 0;
    const std::hash<std::string_view> text;
    std::size_t result = text(dmg->codesignIdentity.hash);
    result = mixed(result, text(dmg->codesignIdentity.name));
    result = mixed(result, text(dmg->codesignIdentity.teamID));
    result = mixed(result, dmg->watermark);
    return mixed(result, dmg->backgroundImage ? text(dmg->backgroundImage->absoluteString()) : 0);
}
