#pragma once

#include <HalvoNotarization/NotarizationError.h>
#include <Models/Notarization.h>
#include <Platform/ProcessRunner.h>

#include <filesystem>
#include <stop_token>
#include <string>

namespace halvo {

/// Sends files to Apple's notary service and staples its tickets, through `notarytool` and `stapler`.
///
/// A tool that cannot be run raises ProcessError. Nothing has a time limit: the service takes its time.
class Notarizer {
public:
    /// Key files lie below `temporaryDirectory` while a submission runs.
    Notarizer(ProcessRunner& processes, std::filesystem::path temporaryDirectory,
              std::stop_token cancellation = {})
        : processes(processes), temporaryDirectory(std::move(temporaryDirectory)),
          cancellation(std::move(cancellation)) {}

    /// Submits the file, waits for the verdict and staples the ticket. Throws
    /// NotarizationError::FileNotFound, SubmissionFailed and StapleFailed. A cancelled wait leaves the
    /// submission with the service.
    void notarize(const std::filesystem::path& file, const NotarizationCredentials& credentials);
    /// Throws NotarizationError::StapleFailed.
    void staple(const std::filesystem::path& file);
    /// Whether a ready-made file has its ticket, or the system accepts it without. Throws
    /// NotarizationError::FileNotFound.
    bool isNotarized(const std::filesystem::path& file);

    /// Whether a keychain profile works.
    bool verifyProfile(const std::string& profile);
    /// Keeps credentials in the keychain under a profile name. The password goes through standard input
    /// only. Throws NotarizationError::StoreCredentialsFailed.
    void storeCredentials(const std::string& profileName, const std::string& appleID,
                          const std::string& password, const std::string& teamID);

    static Arguments submitArguments(const std::filesystem::path& file, const std::string& keychainProfile);
    static Arguments submitArguments(const std::filesystem::path& file, const std::string& apiKeyID,
                                     const std::string& issuer, const std::filesystem::path& keyPath);
    static Arguments storeCredentialsArguments(const std::string& profileName, const std::string& appleID,
                                               const std::string& teamID);

private:
    ProcessResult runTool(Arguments arguments, std::optional<std::string> input = std::nullopt);
    ProcessResult submit(const std::filesystem::path& file, const NotarizationCredentials& credentials);

    ProcessRunner& processes;
    std::filesystem::path temporaryDirectory;
    std::stop_token cancellation;
};

} // namespace halvo
