#pragma once

#include <HalvoAPI/APIClient.h>
#include <HalvoCore/IconConverter.h>
#include <HalvoCore/Publication.h>
#include <Models/App.h>

namespace halvo {

/// The CodedFailure `not_authenticated`: there is no token, or the service refuses it.
CodedFailure notAuthenticated();

/// The hosted service, which owns the feed: the record of a release, its file, then the app's icon. Nothing
/// is taken back when the file cannot be sent; a new try makes a new record.
class HostedPublication final : public Publication {
public:
    HostedPublication(APIClient& apiClient, ServerApp app, IconConverter iconConverter)
        : apiClient(apiClient), app(std::move(app)), iconConverter(std::move(iconConverter)) {}

    std::string place() const override { return ""; }
    URL feedURL() const override { return app.appcastURL; }
    Listing list() override;
    std::int64_t nextBuildNumber() override;
    void reach() override {} // the app was just fetched
    /// Throws ReleaseError `DuplicateVersion` when the service has that build number, as a draft too.
    Warnings preflightCheck(const BundleInfo& bundleInfo, const ReleaseConfiguration& configuration,
                            std::optional<std::uint64_t> fileSize) override;
    /// An icon that cannot be read or sent fails nothing.
    Uploaded upload(const PreparedBinary& prepared, const BundleInfo& bundleInfo,
                    const ReleaseConfiguration& configuration, const TransferProgress& progress) override;
    std::string leftovers() const override;
    Warnings update(const Release& release, const ReleaseChanges& changes) override;
    Warnings remove(const Release& release) override;

private:
    void uploadIcon(const URL& icon);

    APIClient& apiClient;
    ServerApp app;
    IconConverter iconConverter;
    std::optional<UUID> unfinished{}; ///< the service has its record, and not its file
};

/// Gives what `operation` gives; an APIError for a client that is not authenticated becomes
/// `notAuthenticated()`.
template<typename Operation>
decltype(auto) requireLogin(Operation&& operation) {
    try {
        return std::forward<Operation>(operation)();
    } catch (const APIError& error) {
        if (error.is<APIError::Unauthorized>())
            throw notAuthenticated();
        throw;
    }
}

} // namespace halvo
