#pragma once

#include <Models/CodesignIdentity.h>
#include <Models/Notarization.h>
#include <Models/PackageFormat.h>

namespace halvo {

/// How the releases of one app are signed and packed.
struct ReleaseSettings {
    CodesignIdentity codesignIdentity{};
    std::string keychainProfile{}; ///< a notarization profile; empty: none
    bool dmgEnabled = true;
    std::optional<bool> showWatermark{};
    std::optional<URL> dmgBackgroundURL{};

    NotarizationPolicy notarizationPolicy() const;
    PackageFormat packageFormat(bool watermark, std::optional<URL> background) const;

    bool operator==(const ReleaseSettings&) const = default;
};

void to_json(nlohmann::json& json, const ReleaseSettings& settings);
void from_json(const nlohmann::json& json, ReleaseSettings& settings); ///< throws ModelError

} // namespace halvo
