#pragma once

#include <Models/BundleInfo.h>

namespace halvo {

/// What the user handed over, with the metadata of the app in it.
struct ImportedBundle {
    /// A `.app` bundle.
    struct App {
        BundleInfo info;
        bool operator==(const App&) const = default;
    };
    /// An `.xcarchive`.
    struct ArchivedApp {
        BundleInfo info;
        URL archiveURL;
        bool operator==(const ArchivedApp&) const = default;
    };
    /// A disk image, which is released as it is.
    struct DMG {
        BundleInfo info;
        URL sourceURL;
        bool operator==(const DMG&) const = default;
    };
    /// A ZIP archive, which is released as it is.
    struct ZIP {
        BundleInfo info;
        URL sourceURL;
        bool operator==(const ZIP&) const = default;
    };

    std::variant<App, ArchivedApp, DMG, ZIP> value{};

    const BundleInfo& bundleInfo() const;
    const std::string& id() const { return bundleInfo().identifier; }

    bool operator==(const ImportedBundle&) const = default;
};

void to_json(nlohmann::json& json, const ImportedBundle& bundle);
void from_json(const nlohmann::json& json, ImportedBundle& bundle); ///< throws ModelError

} // namespace halvo
