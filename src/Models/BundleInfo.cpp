#include <Models/BundleInfo.h>

#include <Models/JSONFields.h>

#include <Base/Text.h>
#include <Platform/Bundle.h>
#include <Platform/Files.h>
#include <Platform/PropertyList.h>

#include <algorithm>

namespace halvo {
namespace {

/// Absent when the file is missing, unreadable, damaged or no dictionary: all of that is one failure to the
/// user.
std::optional<PropertyListDictionary> readInfoDictionary(const Bundle& bundle) {
    try {
        PropertyList list = PropertyList::parse(readFile(bundle.path() / "Contents" / "Info.plist"));
        if (auto* dictionary = list.as<PropertyListDictionary>())
            return std::move(*dictionary);
        return std::nullopt;
    } catch (const FileError&) {
        return std::nullopt;
    } catch (const PropertyListError&) {
        return std::nullopt;
    }
}

/// The values of an Info.plist by key; one of another type counts as missing.
class InfoDictionary {
public:
    explicit InfoDictionary(PropertyListDictionary entries) : entries(std::move(entries)) {}

    template<typename Type>
    std::optional<Type> find(const std::string& key) const {
        const Type* value = entries.find<Type>(key);
        return value ? std::optional(*value) : std::nullopt;
    }

    template<typename Problem>
    std::string required(const std::string& key, Problem problem) const {
        auto value = find<std::string>(key);
        if (!value)
            throw BundleInfoError(problem);
        return std::move(*value);
    }

private:
    PropertyList entries;
};

std::int64_t parseVersion(const std::string& text) {
    const auto version = parseInteger(text);
    if (!version)
        throw BundleInfoError(BundleInfoError::InvalidVersion{text});
    return *version;
}

std::optional<URL> findIcon(const Bundle& bundle, const InfoDictionary& info) {
    auto name = info.find<std::string>("CFBundleIconName");
    if (!name)
        name = info.find<std::string>("CFBundleIconFile");
    const std::vector<std::string> pieces = split(name.value_or("AppIcon"), '.');
    const auto first = std::ranges::find_if(pieces, [](const std::string& piece) { return !piece.empty(); });
    return bundle.resource(first == pieces.end() ? "" : *first, "icns");
}

} // namespace

std::string BundleInfoError::describe(const Case& which) {
    struct Text {
        std::string operator()(const InvalidVersion& problem) const {
            return "CFBundleVersion is \"" + problem.rawValue +
                   "\", but Halvo currently requires an integer build number. Set CURRENT_PROJECT_VERSION to "
                   "an integer (e.g. 42) and keep your marketing version (e.g. 1.2.3) in "
                   "CFBundleShortVersionString.";
        }
        std::string operator()(NoInfoDictionary) const { return "Bundle does not contain an Info.plist"; }
        std::string operator()(NoName) const { return "Missing CFBundleName in Info.plist"; }
        std::string operator()(NoIdentifer) const { return "Missing CFBundleIdentifier in Info.plist"; }
        std::string operator()(NoVersion) const { return "Missing CFBundleVersion in Info.plist"; }
        std::string operator()(NoVersionString) const {
            return "Missing CFBundleShortVersionString in Info.plist";
        }
        std::string operator()(NoMinimumSystemVersion) const {
            return "Missing LSMinimumSystemVersion in Info.plist";
        }
    };
    return std::visit(Text(), which);
}

BundleInfo BundleInfo::from(const Bundle& bundle) {
    auto dictionary = readInfoDictionary(bundle);
    if (!dictionary)
        throw BundleInfoError(BundleInfoError::NoInfoDictionary());
    const InfoDictionary info(std::move(*dictionary));

    BundleInfo result;
    result.url = bundle.url();
    result.name = info.required("CFBundleName", BundleInfoError::NoName());
    result.identifier = info.required("CFBundleIdentifier", BundleInfoError::NoIdentifer());
    result.version = parseVersion(info.required("CFBundleVersion", BundleInfoError::NoVersion()));
    result.versionString = info.required("CFBundleShortVersionString", BundleInfoError::NoVersionString());
    result.minimumSystemVersion =
        info.required("LSMinimumSystemVersion", BundleInfoError::NoMinimumSystemVersion());
    result.appIcon = findIcon(bundle, info);
    result.sparklePublicEDKey = info.find<std::string>("SUPublicEDKey");
    result.sparkleFeedURL = URL::parse(info.find<std::string>("SUFeedURL").value_or(""));
    result.sparkleEnableSystemProfiling = info.find<bool>("SUEnableSystemProfiling").value_or(false);
    return result;
}

std::string BundleInfo::versionDescription() const {
    return versionString + " (" + std::to_string(version) + ")";
}

void to_json(nlohmann::json& json, const BundleInfo& info) {
    FieldWriter(json)
        .field("url", info.url)
        .field("name", info.name)
        .field("identifier", info.identifier)
        .field("minimumSystemVersion", info.minimumSystemVersion)
        .field("version", info.version)
        .field("versionString", info.versionString)
        .field("appIcon", info.appIcon)
        .field("sparklePublicEDKey", info.sparklePublicEDKey)
        .field("sparkleFeedURL", info.sparkleFeedURL)
        .field("sparkleEnableSystemProfiling", info.sparkleEnableSystemProfiling);
}

void from_json(const nlohmann::json& json, BundleInfo& info) {
    const FieldReader fields(json);
    fields.required("url", info.url);
    fields.required("name", info.name);
    fields.required("identifier", info.identifier);
    fields.required("minimumSystemVersion", info.minimumSystemVersion);
    fields.required("version", info.version);
    fields.required("versionString", info.versionString);
    fields.optional("appIcon", info.appIcon);
    fields.optional("sparklePublicEDKey", info.sparklePublicEDKey);
    fields.optional("sparkleFeedURL", info.sparkleFeedURL);
    fields.required("sparkleEnableSystemProfiling", info.sparkleEnableSystemProfiling);
}

} // namespace halvo
