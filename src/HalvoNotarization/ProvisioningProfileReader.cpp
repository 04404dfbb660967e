#include <HalvoNotarization/ProvisioningProfileReader.h>

#include <Platform/Files.h>

namespace halvo {
namespace {

[[noreturn]] void failUnreadable(std::string text) {
    throw ProvisioningProfileError(ProvisioningProfileError::Unreadable{std::move(text)});
}

} // namespace

ProvisioningProfile ProvisioningProfileReader::readFile(const std::filesystem::path& file) {
    ProcessResult result;
    try {
        result = processes.run({.executable = "/usr/bin/security",
                                .arguments = {"cms", "-D", "-i", file.string()},
                                .ownGroup = true,
                                .cancellation = cancellation});
    } catch (const ProcessError& error) {
        failUnreadable(error.description());
    }
    const bool silent = result.standardError.find_first_not_of(" \t\r\n") == std::string::npos;
    if (!result.succeeded())
        failUnreadable(silent ? "security cms failed" : result.errorText());
    if (result.standardOutput.empty())
        failUnreadable("security cms failed");
    return ProvisioningProfile::parse(viewBytes(result.standardOutput));
}

std::optional<ProvisioningProfile> ProvisioningProfileReader::readEmbedded(const std::filesystem::path& app) {
    const std::filesystem::path file = app / "Contents" / "embedded.provisionprofile";
    std::error_code ignored;
    if (!std::filesystem::exists(file, ignored))
        return std::nullopt;
    return readFile(file);
}

void ProvisioningProfileReader::assertDistributable(const std::filesystem::path& app) {
    const auto profile = readEmbedded(app);
    if (profile && profile->type == ProfileType::development)
        throw ProvisioningProfileError(ProvisioningProfileError::DevelopmentProfileEmbedded{
            profile->name, profile->provisionedDeviceCount});
}

void ProvisioningProfileReader::install(const std::filesystem::path& file, const std::string& uuid,
                                        const std::filesystem::path& libraryDirectory) {
    // The UUID comes out of a file: it must not lead anywhere else.
    if (uuid.empty() || uuid.find('/') != std::string::npos || uuid.find('\0') != std::string::npos)
        failUnreadable("its UUID cannot be a file name");
    const Bytes profile = halvo::readFile(file);
    for (const char* folder :
         {"MobileDevice/Provisioning Profiles", "Developer/Xcode/UserData/Provisioning Profiles"}) {
        const std::filesystem::path directory = libraryDirectory / folder;
        std::error_code failed;
        std::filesystem::create_directories(directory, failed);
        if (failed)
            throw FileError("create", directory, failed.value());
        writeFileAtomically(directory / (uuid + ".provisionprofile"), profile);
    }
}

} // namespace halvo
