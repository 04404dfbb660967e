#pragma once

#include <HalvoCore/AppcastStorage.h>
#include <HalvoCore/ReleaseRepository.h>
#include <Platform/Clock.h>

#include <optional>

namespace halvo {

/// The releases of a self-hosted app. Its feed is the only database: listing reads it, editing rewrites it.
class AppcastReleaseRepository final : public ReleaseRepository {
public:
    AppcastReleaseRepository(std::string appName, AppcastStorageProvider& storage, URL publicBaseURL,
                             Clock& clock)
        : appName(std::move(appName)), storage(storage), publicBaseURL(std::move(publicBaseURL)),
          clock(clock) {}

    /// In the order of the feed; empty when there is no feed yet.
    std::vector<Release> list() override;
    /// Gives `release` back as passed. Notes that equal the stored ones stay as they are, byte for byte.
    Release update(const Release& release) override;
    /// Takes the entry out of the feed, then removes its file. The latest copy stays.
    void remove(const Release& release) override;

    /// The key of the object behind a download address; absent when it lies outside `publicBaseURL`.
    std::optional<std::string> extractBinaryKey(const URL& url) const;

private:
    std::string appName;
    AppcastStorageProvider& storage;
    URL publicBaseURL;
    Clock& clock;
};

/// The id of a listed self-hosted release, the same at every listing: a version-5 UUID over "42|1.2.3".
UUID appcastReleaseID(std::int64_t version, const std::string& shortVersionString);

} // namespace halvo
