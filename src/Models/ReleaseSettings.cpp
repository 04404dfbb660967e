#include <Models/ReleaseSettings.h>

#include <Models/JSONFields.h>

namespace halvo {

NotarizationPolicy ReleaseSettings::notarizationPolicy() const {
    if (keychainProfile.empty())
        return NotarizationPolicy::skip();
    return NotarizationPolicy::notarize({NotarizationCredentials::KeychainProfile{keychainProfile}});
}

PackageFormat ReleaseSettings::packageFormat(bool watermark, std::optional<URL> background) const {
    if (!dmgEnabled)
        return {PackageFormat::ZIP()};
    return {PackageFormat::DMG{.codesignIdentity = codesignIdentity,
                               .watermark = watermark,
                               .backgroundImage = std::move(background)}};
}

void to_json(nlohmann::json& json, const ReleaseSettings& settings) {
    FieldWriter(json)
        .field("codesignIdentity", settings.codesignIdentity)
        .field("keychainProfile", settings.keychainProfile)
        .field("dmgEnabled", settings.dmgEnabled)
        .field("showWatermark", settings.showWatermark)
        .field("dmgBackgroundURL", settings.dmgBackgroundURL);
}

void from_json(const nlohmann::json& json, ReleaseSettings& settings) {
    const FieldReader fields(json);
    fields.required("codesignIdentity", settings.codesignIdentity);
    fields.required("keychainProfile", settings.keychainProfile);
    fields.optional("dmgEnabled", settings.dmgEnabled, true);
    fields.optional("showWatermark", settings.showWatermark);
    fields.optional("dmgBackgroundURL", settings.dmgBackgroundURL);
}

} // namespace halvo
