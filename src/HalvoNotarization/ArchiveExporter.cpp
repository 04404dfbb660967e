#include <HalvoNotarization/ArchiveExporter.h>

#include <Base/PropertyList.h>
#include <Base/URL.h>
#include <Platform/Files.h>

namespace halvo {
namespace {

using Signing = ArchiveExporter::Signing;

constexpr std::size_t outputLimit = 4 << 20; // xcodebuild lists every nested bundle that it signs

std::filesystem::path exportedApp(const std::filesystem::path& exportFolder,
                                  const std::filesystem::path& archive) {
    std::vector<std::filesystem::path> apps;
    std::error_code unlistable; // the tool may have removed the folder: then it holds no app
    for (const auto& entry : std::filesystem::directory_iterator(exportFolder, unlistable))
        if (pathExtension(entry.path()) == "app")
            apps.push_back(entry.path());
    if (apps.empty())
        throw ArchiveExportError(ArchiveExportError::AppNotFound{archive}, exportFolder);
    if (apps.size() > 1)
        throw ArchiveExportError(ArchiveExportError::UnexpectedExportLayout{apps.size(), exportFolder},
                                 exportFolder);
    return apps.front();
}

std::optional<PropertyList> readInfo(const std::filesystem::path& archive) {
    try {
        PropertyList info = PropertyList::parse(readFile(archive / "Info.plist"));
        if (info.as<PropertyListDictionary>())
            return info;
    } catch (const FileError&) {
    } catch (const PropertyListError&) {
    }
    return std::nullopt;
}

} // namespace

std::filesystem::path ArchiveExporter::appURL(const std::filesystem::path& archive) {
    const auto info = readInfo(archive);
    if (!info)
        throw ArchiveExportError(ArchiveExportError::ArchiveNotFound{archive});
    const PropertyList* properties = info->find("ApplicationProperties");
    const std::string* path = properties ? properties->find<std::string>("ApplicationPath") : nullptr;
    if (!path || path->empty())
        throw ArchiveExportError(ArchiveExportError::MissingApplicationPath{archive});
    return archive / "Products" / std::filesystem::path(*path).relative_path();
}

Bytes ArchiveExporter::exportOptionsPlist(const std::string& teamID, const Signing& signing) {
    PropertyListDictionary options{{"destination", "export"}, {"method", "developer-id"}, {"teamID", teamID}};
    if (const auto* manual = std::get_if<Signing::Manual>(&signing.value)) {
        options.emplace("signingStyle", "manual");
        options.emplace("signingCertificate", manual->identity);
        PropertyListDictionary profiles(manual->provisioningProfiles.begin(),
                                        manual->provisioningProfiles.end());
        if (!profiles.empty())
            options.emplace("provisioningProfiles", std::move(profiles));
    } else {
        options.emplace("signingStyle", "automatic");
    }
    return PropertyList(std::move(options)).xml();
}

std::filesystem::path ArchiveExporter::exportArchive(const std::filesystem::path& archive,
                                                     const std::string& teamID, const Signing& signing) {
    std::error_code ignored;
    if (!std::filesystem::exists(archive, ignored))
        throw ArchiveExportError(ArchiveExportError::ArchiveNotFound{archive});
    TemporaryDirectory temporary(temporaryDirectory, "HalvoExport-");
    const std::filesystem::path options = temporary.path() / "ExportOptions.plist";
    writeNewFile(options, exportOptionsPlist(teamID, signing), 0644);

    const ProcessResult result =
        runExport({"-exportArchive", "-archivePath", archive.string(), "-exportPath",
                   temporary.path().string(), "-exportOptionsPlist", options.string()},
                  signing);
    const std::filesystem::path folder = temporary.release();
    if (result.succeeded())
        return exportedApp(folder, archive);
    const std::string text = result.errorText();
    if (text.find("requires a provisioning profile") != std::string::npos)
        throw ArchiveExportError(ArchiveExportError::ProvisioningProfileRequired{text}, folder);
    throw ArchiveExportError(ArchiveExportError::ExportFailed{text}, folder);
}

ProcessResult ArchiveExporter::runExport(Arguments arguments, const Signing& signing) {
    // xcodebuild starts compilers and scripts: a group of its own lets a cancelled run end them all.
    ProcessRequest request{.executable = "/usr/bin/xcodebuild",
                           .ownGroup = true,
                           .outputLimit = outputLimit,
                           .cancellation = cancellation};
    const auto* automatic = std::get_if<Signing::Automatic>(&signing.value);
    if (automatic)
        arguments.push_back("-allowProvisioningUpdates");
    if (!automatic || !automatic->authentication) {
        request.arguments = std::move(arguments);
        return processes.run(request);
    }
    const ASCAuthenticationKey& key = *automatic->authentication;
    return key.withKeyFile(temporaryDirectory, [&](const std::filesystem::path& keyPath) {
        const Arguments signIn = key.xcodebuildArguments(keyPath);
        arguments.insert(arguments.end(), signIn.begin(), signIn.end());
        request.arguments = arguments;
        return processes.run(request);
    });
}

} // namespace halvo
