#include <Models/ReleaseSettings.h>

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

} // namespace halvo
