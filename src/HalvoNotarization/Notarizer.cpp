#include <HalvoNotarization/Notarizer.h>

#include <Platform/Files.h>

namespace halvo {
namespace {

/// A key file for one submission, in a folder of its own.
class SubmissionKey {
public:
    SubmissionKey(const std::filesystem::path& parent, const Bytes& key)
        : folder(parent, "asc-"), path(folder.path() / "key.p8") {
        writeNewFile(path, key, 0600);
    }
    const std::filesystem::path& file() const { return path; }

private:
    TemporaryDirectory folder;
    std::filesystem::path path;
};

SubmissionKey writeSubmissionKey(const std::filesystem::path& parent, const Bytes& key) {
    try {
        return SubmissionKey(parent, key);
    } catch (const FileError&) {
        throw NotarizationError(
            NotarizationError::SubmissionFailed{"Failed to write notarization key to disk."});
    }
}

/// notarytool reports progress and verdict on standard output, what it could not do on standard error.
std::string submissionText(const ProcessResult& result) {
    return result.standardOutput.empty() ? result.errorText() : result.outputText();
}

} // namespace

Arguments Notarizer::submitArguments(const std::filesystem::path& file, const std::string& keychainProfile) {
    return {"notarytool", "submit", file.string(), "--keychain-profile", keychainProfile, "--wait"};
}

Arguments Notarizer::submitArguments(const std::filesystem::path& file, const std::string& apiKeyID,
                                     const std::string& issuer, const std::filesystem::path& keyPath) {
    return {"notarytool", "submit", file.string(), "--key", keyPath.string(),
            "--key-id",   apiKeyID, "--issuer",    issuer,  "--wait"};
}

Arguments Notarizer::storeCredentialsArguments(const std::string& profileName, const std::string& appleID,
                                               const std::string& teamID) {
    return {"notarytool", "store-credentials", profileName, "--apple-id", appleID, "--team-id", teamID};
}

void Notarizer::notarize(const std::filesystem::path& file, const NotarizationCredentials& credentials) {
    std::error_code ignored;
    if (!std::filesystem::exists(file, ignored))
        throw NotarizationError(NotarizationError::FileNotFound{file});
    const ProcessResult result = submit(file, credentials);
    // The exit code alone says only that the service gave a verdict.
    if (!result.succeeded() || result.standardOutput.find("status: Accepted") == std::string::npos)
        throw NotarizationError(NotarizationError::SubmissionFailed{submissionText(result)});
    staple(file);
}

ProcessResult Notarizer::submit(const std::filesystem::path& file,
                                const NotarizationCredentials& credentials) {
    if (const auto* profile = std::get_if<NotarizationCredentials::KeychainProfile>(&credentials.value))
        return runTool(submitArguments(file, profile->name));
    const auto& key = std::get<NotarizationCredentials::APIKey>(credentials.value);
    const SubmissionKey keyFile = writeSubmissionKey(temporaryDirectory, key.keyData);
    return runTool(submitArguments(file, key.keyID, key.issuer, keyFile.file()));
}

void Notarizer::staple(const std::filesystem::path& file) {
    const ProcessResult result = runTool({"stapler", "staple", file.string()});
    if (!result.succeeded())
        throw NotarizationError(NotarizationError::StapleFailed{result.errorText()});
}

bool Notarizer::isNotarized(const std::filesystem::path& file) {
    std::error_code ignored;
    if (!std::filesystem::exists(file, ignored))
        throw NotarizationError(NotarizationError::FileNotFound{file});
    if (runTool({"stapler", "validate", file.string()}).succeeded())
        return true;
    return processes
        .run({.executable = "/usr/sbin/spctl",
              .arguments = {"--assess", "-v", file.string()},
              .ownGroup = true,
              .cancellation = cancellation})
        .succeeded();
}

bool Notarizer::verifyProfile(const std::string& profile) {
    return runTool({"notarytool", "history", "--keychain-profile", profile}).succeeded();
}

void Notarizer::storeCredentials(const std::string& profileName, const std::string& appleID,
                                 const std::string& password, const std::string& teamID) {
    const ProcessResult result =
        runTool(storeCredentialsArguments(profileName, appleID, teamID), password + "\n");
    if (!result.succeeded())
        throw NotarizationError(NotarizationError::StoreCredentialsFailed{result.errorText()});
}

ProcessResult Notarizer::runTool(Arguments arguments, std::optional<std::string> input) {
    return processes.run({.executable = "/usr/bin/xcrun",
                          .arguments = std::move(arguments),
                          .ownGroup = true,
                          .input = std::move(input),
                          .cancellation = cancellation});
}

} // namespace halvo
