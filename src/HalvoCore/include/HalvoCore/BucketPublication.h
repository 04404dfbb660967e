#pragma once

#include <HalvoCore/LiveFeed.h>
#include <HalvoCore/Publication.h>

namespace halvo {

struct FeedContents;

/// The identifier of a release in a feed, the same at every listing: a version-5 UUID over "42|1.2.3". The
/// second item with both numbers, which only other tools write, is "42|1.2.3|2".
UUID appcastReleaseID(std::int64_t version, const std::string& shortVersionString, int twin = 1);

/// The title of a feed that has items and is another app's; absent for any other bytes.
std::optional<std::string> titleOfAnotherAppsFeed(ByteView feed, const std::string& appName);

/// A bucket of the user's own. Its feed is the only database: listing reads it, editing changes single items
/// of it.
///
/// A release is the file, then the copy that always gives the newest release of the default channel, then the
/// feed: once the feed names a release, everything of it is in place. A failure leaves what was written
/// before it; a new run writes the same keys again.
///
/// A feed with items is another app's when neither its title is this app's name nor any file in it begins
/// with that name. It is not changed, unless `adoptsFeed` says so: CodedFailure `feed_of_another_app`.
class BucketPublication final : public Publication {
public:
    struct Options {
        S3Configuration configuration{};
        S3Access access{};
        std::optional<std::string> appName{}; ///< absent: not known, and the feed is taken for the app's
        FeedKey feedKey{};                    ///< for feeds that are signed themselves
        bool adoptsFeed = false;
    };

    BucketPublication(const Options& options, Platform& platform);

    std::string place() const override { return "S3"; }
    URL feedURL() const override { return store.configuration().appcastURL(); }
    Listing list() override;
    std::int64_t nextBuildNumber() override;
    void reach() override;
    Warnings preflightCheck(const BundleInfo& bundleInfo, const ReleaseConfiguration& configuration,
                            std::optional<std::uint64_t> fileSize) override;
    Uploaded upload(const PreparedBinary& prepared, const BundleInfo& bundleInfo,
                    const ReleaseConfiguration& configuration, const TransferProgress& progress) override;
    Warnings update(const Release& release, const ReleaseChanges& changes) override;
    /// The file of the release goes too, unless something else in the feed names it.
    Warnings remove(const Release& release) override;

private:
    class Upsert;
    class Edit;

    FeedContents contents(ByteView feed) const;
    void refuseFeedOfAnotherApp(const FeedContents& contents, const std::string& appName) const;
    /// The key of the object behind a download address; absent when it lies outside of the bucket's public
    /// URL.
    std::optional<std::string> extractBinaryKey(const std::string& address) const;
    std::optional<URL> latestCopy(const FeedContents& contents, const BundleInfo& bundleInfo,
                                  const std::string& extension) const;
    Warnings staleCopyWarnings(const FeedContents& before, const FeedContents& after) const;

    S3Uploader store;
    std::optional<std::string> appName;
    bool adoptsFeed;
    Clock& clock;
    LiveFeed feed;
};

} // namespace halvo
