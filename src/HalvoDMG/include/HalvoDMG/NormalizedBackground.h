#pragma once

#include <Base/URL.h>
#include <HalvoDMG/PictureSizes.h>

#include <optional>
#include <string>
#include <variant>

namespace halvo {

/// A background picture that the Finder shows at the size of the window.
struct NormalizedBackground {
    /// The user's own file, which fits as it is.
    struct Original {
        URL url{};
        PixelSize pixelSize{};
        bool operator==(const Original&) const = default;
    };
    /// A copy in the temporary directory with other DPI tags. The caller removes it.
    struct Derived {
        URL url{};
        PixelSize pixelSize{};
        bool operator==(const Derived&) const = default;
    };
    using Case = std::variant<Original, Derived>;
    Case which;

    bool isDerived() const { return std::holds_alternative<Derived>(which); }
    const URL& url() const;
    PixelSize pixelSize() const;
    /// What to tell the user when the picture has fewer than two pixels for each point of the window's width.
    std::optional<std::string> retinaWarning(PointSize window) const;

    bool operator==(const NormalizedBackground&) const = default;
};

} // namespace halvo
