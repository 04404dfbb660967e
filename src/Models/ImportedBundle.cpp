#include <Models/ImportedBundle.h>

#include <Models/JSONFields.h>

namespace halvo {

const BundleInfo& ImportedBundle::bundleInfo() const {
    return std::visit([](const auto& imported) -> const BundleInfo& { return imported.info; }, value);
}

void to_json(nlohmann::json& json, const ImportedBundle& bundle) {
    struct Writer {
        nlohmann::json& json;
        void operator()(const ImportedBundle::App& app) const {
            writeTagged(json, "app").field(unnamedPayload, app.info);
        }
        void operator()(const ImportedBundle::ArchivedApp& app) const {
            writeTagged(json, "archivedApp")
                .field(unnamedPayload, app.info)
                .field("archiveURL", app.archiveURL);
        }
        void operator()(const ImportedBundle::DMG& image) const {
            writeTagged(json, "dmg").field(unnamedPayload, image.info).field("sourceURL", image.sourceURL);
        }
        void operator()(const ImportedBundle::ZIP& archive) const {
            writeTagged(json, "zip")
                .field(unnamedPayload, archive.info)
                .field("sourceURL", archive.sourceURL);
        }
    };
    std::visit(Writer{json}, bundle.value);
}

void from_json(const nlohmann::json& json, ImportedBundle& bundle) {
    const TaggedReader tagged(json);
    const std::string& name = tagged.name();
    if (name == "app") {
        tagged.required(unnamedPayload, bundle.value.emplace<ImportedBundle::App>().info);
    } else if (name == "archivedApp") {
        auto& app = bundle.value.emplace<ImportedBundle::ArchivedApp>();
        tagged.required(unnamedPayload, app.info);
        tagged.required("archiveURL", app.archiveURL);
    } else if (name == "dmg") {
        auto& image = bundle.value.emplace<ImportedBundle::DMG>();
        tagged.required(unnamedPayload, image.info);
        tagged.required("sourceURL", image.sourceURL);
    } else if (name == "zip") {
        auto& archive = bundle.value.emplace<ImportedBundle::ZIP>();
        tagged.required(unnamedPayload, archive.info);
        tagged.required("sourceURL", archive.sourceURL);
    } else {
        throw tagged.unknownCase("app, archivedApp, dmg or zip");
    }
}

} // namespace halvo
