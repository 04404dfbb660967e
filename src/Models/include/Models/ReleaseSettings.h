#pragma once

#include <Base/Failure.h>
#include <Models/CodesignIdentity.h>
#include <Models/Notarization.h>
#include <Models/PackageFormat.h>

namespace halvo {

/// A release that cannot start with the settings that the app has.
struct HalvoCases {
    struct MissingReleaseSettings {
        std::string description() const {
            return "Halvo is currently not properly setup for this project. Please go to settings and define a codesign identity and keychain profile and try again.";
        }
    };
    struct ArchivedAppRequiresDMG {
        std::string description() const {
            return "Xcode archives require DMG format to be enabled. Archives need to be exported and codesigned, which is only supported with DMG packaging. Please enable DMG in your release settings.";
        }
    };
    using Case = std::variant<MissingReleaseSettings, ArchivedAppRequiresDMG>;
};
using HalvoError = FailureOf<HalvoCases>;

/// How the releases of one app are signed and packed.
struct ReleaseSettings {
    CodesignIdentity codesignIdentity{};
    std::string keychainProfile{}; ///< a notarization profile; empty: none
    bool dmgEnabled = true;
    std::optional<bool> showWatermark{};
    std::optional<URL> dmgBackgroundURL{};

    NotarizationPolicy notarizationPolicy() const;
    PackageFormat packageFormat(bool watermark, std::optional<URL> background) const;

    static void fields(auto& settings, auto&& field) {
        field("codesignIdentity", settings.codesignIdentity);
        field("keychainProfile", settings.keychainProfile);
        field("dmgEnabled", settings.dmgEnabled, true);
        field("showWatermark", settings.showWatermark);
        field("dmgBackgroundURL", settings.dmgBackgroundURL);
    }

    bool operator==(const ReleaseSettings&) const = default;
};

} // namespace halvo
