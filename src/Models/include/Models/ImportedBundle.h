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

    static constexpr const char* caseNames[] = {"app", "archivedApp", "dmg", "zip"};
    static void caseFields(auto& imported, auto&& field) {
        field("_0", imported.info);
        if constexpr (requires { imported.archiveURL; })
            field("archiveURL", imported.archiveURL);
        else if constexpr (requires { imported.sourceURL; })
            field("sourceURL", imported.sourceURL);
    }

    const BundleInfo& bundleInfo() const {
        return std::visit([](const auto& imported) -> const BundleInfo& { return imported.info; }, value);
    }
    const std::string& id() const { return bundleInfo().identifier; }

    bool operator==(const ImportedBundle&) const = default;
};

} // namespace halvo
