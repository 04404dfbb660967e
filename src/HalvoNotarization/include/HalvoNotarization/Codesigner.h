#pragma once

#include <HalvoNotarization/CodesigningError.h>
#include <Models/CodesignIdentity.h>
#include <Platform/Log.h>
#include <Platform/ProcessRunner.h>

#include <filesystem>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace halvo {

/// Finds the user's code-signing identities and signs with them, through `security` and `codesign`.
///
/// A tool that cannot be run raises ProcessError, unless it is said otherwise.
class Codesigner {
public:
    Codesigner(ProcessRunner& processes, Log& log, std::stop_token cancellation = {})
        : processes(processes), log(log), cancellation(std::move(cancellation)) {}

    /// All valid identities, in the order of the tool. Throws CodesigningError::DiscoveryFailed.
    std::vector<CodesignIdentity> availableIdentities();
    /// Those that sign for distribution outside of the store.
    std::vector<CodesignIdentity> developerIDIdentities();
    /// Reads what `security find-identity` prints. Lines of another form are passed over: the closing count,
    /// revoked identities, names without a team in parentheses at their end.
    static std::vector<CodesignIdentity> parseIdentities(std::string_view text);

    /// Signs the app or disk image and everything nested in it with the hardened runtime and a timestamp;
    /// an older signature is replaced. `identity` is a name or hash that codesign knows. Throws
    /// CodesigningError::AppNotFound and SigningFailed.
    void sign(const std::filesystem::path& app, const std::string& identity);
    /// Whether a Developer ID certificate signed it. A codesign that cannot be run makes this false.
    bool isSignedForDistribution(const std::filesystem::path& app);

private:
    ProcessRunner& processes;
    Log& log;
    std::stop_token cancellation;
};

} // namespace halvo
