#pragma once

#include <HalvoCore/AppcastStorage.h>
#include <HalvoCore/ReleaseUploader.h>
#include <Platform/Clock.h>

namespace halvo {

/// Publishes to storage of the user's own: the file first, then the copy that always points at the newest
/// release, the feed last. A failure leaves what was written before it; a new run writes the same keys again.
class AppcastReleaseUploader final : public ReleaseUploaderProtocol {
public:
    AppcastReleaseUploader(App app, AppcastStorageProvider& storage, URL publicBaseURL,
                           bool shouldUseCacheBuster, Clock& clock)
        : app(std::move(app)), storage(storage), publicBaseURL(std::move(publicBaseURL)),
          shouldUseCacheBuster(shouldUseCacheBuster), clock(clock) {}

    /// The app of the result holds the published releases of the default channel, so that its `downloadURL`
    /// is that of a copy which exists. Throws what the storage throws, and AppcastEditorError or XML errors
    /// for a feed that cannot be edited.
    UploadResult upload(const std::filesystem::path& file, const BundleInfo& bundleInfo,
                        const std::string& signature, const ReleaseConfiguration& configuration) override;

private:
    App app;
    AppcastStorageProvider& storage;
    URL publicBaseURL;
    bool shouldUseCacheBuster;
    Clock& clock;
};

} // namespace halvo
