#include <Models/BundleInfo.h>

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

} // namespace halvo
