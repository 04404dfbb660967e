#include <HalvoNotarization/ProvisioningProfile.h>

#include "CertificateName.h"

#include <Base/PropertyList.h>

#include <algorithm>

namespace halvo {
namespace {

PropertyList parseDictionary(ByteView plist) {
    try {
        PropertyList list = PropertyList::parse(plist);
        if (list.as<PropertyListDictionary>())
            return list;
    } catch (const PropertyListError&) {
        // Why it is none does not help the user: the file has to be replaced.
    }
    throw ProvisioningProfileError(ProvisioningProfileError::MalformedPlist{});
}

template<typename Type>
std::optional<Type> optionalValue(const Type* value) {
    return value ? std::optional<Type>(*value) : std::nullopt;
}

bool flag(const PropertyList& plist, const std::string& key) {
    const bool* value = plist.find<bool>(key);
    return value && *value;
}

std::optional<std::string> firstText(const PropertyListArray* list) {
    return list && !list->empty() ? optionalValue(list->front().as<std::string>()) : std::nullopt;
}

std::vector<std::string> certificateNames(const PropertyListArray* certificates) {
    std::vector<std::string> names;
    if (!certificates)
        return names;
    for (const PropertyList& entry : *certificates)
        if (const Bytes* certificate = entry.as<Bytes>())
            if (auto name = certificateName(*certificate))
                names.push_back(std::move(*name));
    return names;
}

/// "TEAM.com.example.App" without its team; absent for a wildcard such as "TEAM.*".
std::optional<std::string> bundleIdentifier(const PropertyList& plist) {
    const PropertyList* entitlements = plist.find("Entitlements");
    const std::string* application =
        entitlements ? entitlements->find<std::string>("com.apple.application-identifier") : nullptr;
    const std::size_t dot = application ? application->find('.') : std::string::npos;
    if (dot == std::string::npos || dot + 1 == application->size())
        return std::nullopt;
    std::string identifier = application->substr(dot + 1);
    if (identifier.find('*') != std::string::npos)
        return std::nullopt;
    return identifier;
}

} // namespace

ProvisioningProfile ProvisioningProfile::parse(ByteView bytes) {
    const PropertyList plist = parseDictionary(bytes);
    ProvisioningProfile profile;
    if (const auto* name = plist.find<std::string>("Name"))
        profile.name = *name;
    profile.teamIdentifier = firstText(plist.find<PropertyListArray>("TeamIdentifier"));
    if (const auto* devices = plist.find<PropertyListArray>("ProvisionedDevices"))
        profile.provisionedDeviceCount = static_cast<std::int64_t>(devices->size());
    profile.uuid = optionalValue(plist.find<std::string>("UUID"));
    profile.certificateNames =
        halvo::certificateNames(plist.find<PropertyListArray>("DeveloperCertificates"));
    profile.expirationDate = optionalValue(plist.find<Date>("ExpirationDate"));
    profile.bundleIdentifier = halvo::bundleIdentifier(plist);
    profile.isXcodeManaged = flag(plist, "IsXcodeManaged");
    profile.type = classify(profile.provisionedDeviceCount, flag(plist, "ProvisionsAllDevices"),
                            profile.certificateNames);
    return profile;
}

ProfileType ProvisioningProfile::classify(std::int64_t provisionedDeviceCount, bool provisionsAllDevices,
                                          const std::vector<std::string>& certificateNames) {
    if (provisionedDeviceCount > 0)
        return ProfileType::development;
    if (std::any_of(certificateNames.begin(), certificateNames.end(),
                    [](const std::string& name) { return name.starts_with("Developer ID Application"); }))
        return ProfileType::developerID;
    return provisionsAllDevices ? ProfileType::enterprise : ProfileType::appStore;
}

void ProvisioningProfile::assertUsableForDeveloperIDExport(Date now) const {
    if (type != ProfileType::developerID)
        throw ProvisioningProfileError(ProvisioningProfileError::WrongTypeForDeveloperID{name, type});
    if (isXcodeManaged)
        throw ProvisioningProfileError(ProvisioningProfileError::XcodeManaged{name});
    if (expirationDate && *expirationDate <= now)
        throw ProvisioningProfileError(ProvisioningProfileError::Expired{name, *expirationDate});
}

} // namespace halvo
