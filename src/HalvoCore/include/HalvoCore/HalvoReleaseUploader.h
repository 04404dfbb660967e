#pragma once

#include <HalvoAPI/APIClient.h>
#include <HalvoCore/IconConverter.h>
#include <HalvoCore/ReleaseUploader.h>

namespace halvo {

/// Publishes to the hosted service: the record of the release, its file, then the app's icon. Nothing is
/// taken back when the file cannot be sent; a new try makes a new record.
class HalvoReleaseUploader final : public ReleaseUploaderProtocol {
public:
    /// `progress` is told how much of the file has gone out.
    HalvoReleaseUploader(APIClient& apiClient, ServerApp app, IconConverter iconConverter,
                         TransferProgress progress = {})
        : apiClient(apiClient), app(std::move(app)), iconConverter(std::move(iconConverter)),
          progress(std::move(progress)) {}

    /// Throws ReleaseError `DuplicateVersion` when the service has that build number, as a draft too.
    void preflightCheck(const BundleInfo& bundleInfo) override;
    /// An icon that cannot be read or sent fails nothing.
    UploadResult upload(const std::filesystem::path& file, const BundleInfo& bundleInfo,
                        const std::string& signature, const ReleaseConfiguration& configuration) override;

    /// After a failed upload: the release whose record the service has and whose file it has not.
    const std::optional<UUID>& unfinishedRelease() const { return unfinished; }

private:
    void uploadIcon(const URL& icon);

    APIClient& apiClient;
    ServerApp app;
    IconConverter iconConverter;
    TransferProgress progress;
    std::optional<UUID> unfinished{};
};

} // namespace halvo
