#pragma once

#include <HalvoCore/S3Uploader.h>

#include <Ed25519/PrivateKey.h>

#include <functional>
#include <optional>
#include <string>

namespace halvo {

/// A change of a feed that can be made again, on a feed that somebody else changed meanwhile.
class FeedChange {
public:
    virtual ~FeedChange() = default;
    /// The feed with the change; the same text where nothing changes. Absent: there is no feed yet.
    virtual std::string appliedTo(std::optional<ByteView> feed) = 0;
    /// Whether a feed that was read back has the change.
    virtual bool isIn(ByteView feed) const = 0;
};

/// Finds the key that signs updates; absent when none is at hand.
using FeedKey = std::function<std::optional<PrivateKey>()>;

/// A feed in its bucket, which others may write at any moment.
///
/// A change is written on the condition that the feed still is what was read; where it is not, the feed is
/// read, changed and written again. A store that knows no conditions gets a plain write and is read back
/// three times within 3 s: a change that is gone is made again. What remains is a writer that took longer
/// than that from its reading to its writing. A feed that carries its own signature is signed again.
class LiveFeed {
public:
    LiveFeed(const S3Uploader& store, Platform& platform, FeedKey key)
        : store(store), clock(platform.clock), cancellation(platform.cancellation), key(std::move(key)) {}

    std::optional<Bytes> read() const;
    /// Makes the change and gives the feed that has it. Throws CodedFailure: `feed_conflict` when others keep
    /// changing the feed, `feed_signing_key_missing` when it is signed by a key that is not at hand; then
    /// nothing was written.
    std::string change(FeedChange& change) const;
    /// Throws `feed_signing_key_missing` as `change` would.
    void requireSigningKey(ByteView feed) const;

private:
    std::string signedAgain(std::string feed, std::optional<ByteView> before) const;
    PrivateKey signingKey(std::string_view content, const std::string& signature) const;
    std::string writePlainly(FeedChange& change, std::string feed) const;
    void pause(std::chrono::milliseconds least, std::chrono::milliseconds most) const;

    const S3Uploader& store;
    Clock& clock;
    std::stop_token cancellation;
    FeedKey key;
};

} // namespace halvo
