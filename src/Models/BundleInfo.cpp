#include <Models/BundleInfo.h>

#include <Base/PropertyList.h>
#include <Base/Text.h>
#include <Platform/Bundle.h>
#include <Platform/Files.h>

#include <algorithm>
#include <cerrno>

namespace halvo {
namespace {

PropertyListDictionary readInfoDictionary(const Bundle& bundle) {
    const std::filesystem::path file = bundle.path() / "Contents" / "Info.plist";
    std::string reason;
    try {
        PropertyList list = PropertyList::parse(readFile(file));
        if (auto* dictionary = list.as<PropertyListDictionary>())
            return std::move(*dictionary);
        reason = "It holds another value than a dictionary.";
    } catch (const FileError& error) {
        reason = error.code == ENOENT ? "" : error.description();
    } catch (const PropertyListError& error) {
        reason = error.description();
    }
    throw BundleInfoError(BundleInfoError::NoInfoDictionary{reason});
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
    const InfoDictionary info(readInfoDictionary(bundle));

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
