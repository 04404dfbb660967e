#pragma once

#include <Base/URL.h>
#include <Models/CodesignIdentity.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>
#include <variant>

namespace halvo {

/// How the update is packed.
struct PackageFormat {
    /// A signed disk image with a laid-out window.
    struct DMG {
        CodesignIdentity codesignIdentity;
        bool watermark = false;
        std::optional<URL> backgroundImage; ///< absent: the standard background
        bool operator==(const DMG&) const = default;
    };
    struct ZIP {
        bool operator==(const ZIP&) const = default;
    };

    std::variant<DMG, ZIP> value = ZIP();

    std::string_view fileExtension() const { return isDMG() ? "dmg" : "zip"; }
    bool isDMG() const { return std::holds_alternative<DMG>(value); }

    bool operator==(const PackageFormat&) const = default;
};

} // namespace halvo

template<>
struct std::hash<halvo::PackageFormat> {
    std::size_t operator()(const halvo::PackageFormat& format) const noexcept;
};
