#pragma once

#include <HalvoNotarization/NotarizationError.h>
#include <Models/Notarization.h>
#include <Platform/Clock.h>
#include <Platform/ProcessRunner.h>

#include <filesystem>
#include <functional>
#include <stop_token>
#include <string>

namespace halvo {

/// Told how a notarization goes, on the calling thread.
struct NotarizationObserver {
    /// As soon as the service has given the submission an identifier: Notarizer::resume() takes it, in a
    /// later run too.
    std::function<void(const std::string& submission)> onSubmission{};
    /// A line for the person who waits.
    std::function<void(const std::string& line)> onProgress{};
};

/// Sends files to Apple's notary service and staples its tickets, through `notarytool` and `stapler`.
///
/// A tool that cannot be run raises ProcessError. The wait for a verdict has no time limit: the service takes
/// its time. Cancelled, it leaves the submission with the service.
class Notarizer {
public:
    struct Services {
        ProcessRunner& processes;
        Clock& clock;
    };
    /// Key files lie below `temporaryDirectory` while a submission runs.
    Notarizer(Services services, std::filesystem::path temporaryDirectory, std::stop_token cancellation = {})
        : services(services), temporaryDirectory(std::move(temporaryDirectory)),
          cancellation(std::move(cancellation)) {}

    /// Submits the file, waits for the verdict and staples the ticket. Throws NotarizationError.
    void notarize(const std::filesystem::path& file, const NotarizationCredentials& credentials,
                  const NotarizationObserver& observer = {});
    /// Waits on for the verdict of an earlier submission of the file and staples the ticket. Throws
    /// NotarizationError.
    void resume(const std::string& submission, const std::filesystem::path& file,
                const NotarizationCredentials& credentials, const NotarizationObserver& observer = {});
    /// Right after the verdict the ticket may not be out yet: tries for two minutes. Throws
    /// NotarizationError::StapleFailed.
    void staple(const std::filesystem::path& file, const NotarizationObserver& observer = {});
    /// Whether a ready-made file has its ticket, or the system accepts it without. Throws
    /// NotarizationError::FileNotFound.
    bool isNotarized(const std::filesystem::path& file);

    /// Whether a keychain profile works.
    bool verifyProfile(const std::string& profile);
    /// Keeps credentials in the keychain under a profile name. The password goes through standard input
    /// only. Throws NotarizationError::StoreCredentialsFailed.
    void storeCredentials(const std::string& profileName, const std::string& appleID,
                          const std::string& password, const std::string& teamID);

private:
    ProcessRequest request(Arguments arguments) const;
    void awaitVerdict(Arguments command, std::string submission, const NotarizationCredentials& credentials,
                      const NotarizationObserver& observer);
    /// What the service's log says of a submission that was not accepted.
    NotarizationErrorCases::Rejected fetchLog(NotarizationErrorCases::Rejected verdict,
                                              const Arguments& signIn);

    Services services;
    std::filesystem::path temporaryDirectory;
    std::stop_token cancellation;
};

} // namespace halvo
