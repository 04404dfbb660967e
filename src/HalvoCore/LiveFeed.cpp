#include <HalvoCore/LiveFeed.h>

#include <Appcast/FeedSignature.h>
#include <Base/Base64.h>

namespace halvo {
namespace {

using std::chrono::milliseconds;

constexpr int mostAttempts = 8;
constexpr int readsBack = 3;
constexpr milliseconds shortestDistance{150}, longestDistance{950}; // three of them are less than 3 s

std::optional<ByteView> view(const std::optional<S3Client::Object>& object) {
    return object ? std::optional<ByteView>(object->bytes) : std::nullopt;
}

CodedFailure keepsChanging(const S3Configuration& configuration) {
    return {"feed_conflict",
            "The feed " + configuration.appcastURL().absoluteString() +
                " was changed by somebody else each time that this change was written. Run the command "
                "again when the other releases are through."};
}

CodedFailure noSigningKey(const S3Configuration& configuration, const std::optional<PrivateKey>& key) {
    return {"feed_signing_key_missing",
            "The feed " + configuration.appcastURL().absoluteString() +
                " is signed, and every edit must be signed again with the same key, or apps that require a "
                "signed feed "
                "refuse it. " +
                (key ? "The key at hand (public key " + key->publicKey().baseEncoding() +
                           ") did not make its signature."
                     : "No signing key is at hand.") +
                " Set SPARKLE_PRIVATE_KEY to the key that signed it."};
}

} // namespace

std::optional<Bytes> LiveFeed::read() const {
    auto stored = store.downloadAppcast();
    return stored ? std::optional(std::move(stored->bytes)) : std::nullopt;
}

std::string LiveFeed::change(FeedChange& change) const {
    std::optional<std::string> written; // perhaps: the answer to a write can be lost
    for (int attempt = 1; attempt <= mostAttempts; ++attempt) {
        const auto stored = store.downloadAppcast();
        if (written && stored && viewText(stored->bytes) == *written)
            return *written;
        std::string feed = change.appliedTo(view(stored));
        if (stored && feed == viewText(stored->bytes))
            return feed;
        feed = signedAgain(std::move(feed), view(stored));
        if (stored && !stored->entityTag)
            return writePlainly(change, std::move(feed));
        const S3Client::Condition condition{stored ? stored->entityTag : std::nullopt};
        switch (store.uploadAppcast(viewBytes(feed), condition)) {
        case S3Uploader::Written::yes: return feed;
        case S3Uploader::Written::conditionUnknown: return writePlainly(change, std::move(feed));
        case S3Uploader::Written::conflict: break;
        }
        written = std::move(feed);
        const milliseconds longest = milliseconds(75) * (1 << std::min(attempt, 4));
        pause(longest / 4, longest);
    }
    throw keepsChanging(store.configuration());
}

std::string LiveFeed::writePlainly(FeedChange& change, std::string feed) const {
    for (int attempt = 1; attempt <= mostAttempts; ++attempt) {
        store.uploadAppcast(viewBytes(feed), std::nullopt);
        std::optional<S3Client::Object> stored;
        int seen = 0;
        while (seen < readsBack) {
            pause(shortestDistance, longestDistance);
            stored = store.downloadAppcast();
            if (!stored || !change.isIn(stored->bytes))
                break;
            ++seen;
        }
        if (seen == readsBack)
            return std::string(viewText(stored->bytes));
        feed = signedAgain(change.appliedTo(view(stored)), view(stored));
    }
    throw keepsChanging(store.configuration());
}

void LiveFeed::pause(milliseconds least, milliseconds most) const {
    const auto range = static_cast<double>((most - least).count());
    clock.sleep(least + milliseconds(static_cast<milliseconds::rep>(range * S3Client::systemRandomness())),
                cancellation);
}

void LiveFeed::requireSigningKey(ByteView feed) const {
    if (const auto signedFeed = SignedFeed::read(viewText(feed)))
        signingKey(signedFeed->content, signedFeed->edSignature);
}

PrivateKey LiveFeed::signingKey(std::string_view content, const std::string& signature) const {
    const std::optional<PrivateKey> found = key();
    const auto bytes = decodeBase64(signature);
    if (!found || !bytes || !found->publicKey().isValidSignature(*bytes, viewBytes(content)))
        throw noSigningKey(store.configuration(), found);
    return *found;
}

std::string LiveFeed::signedAgain(std::string feed, std::optional<ByteView> before) const {
    const auto old = before ? SignedFeed::read(viewText(*before)) : std::nullopt;
    const auto edited = SignedFeed::read(feed);
    if (!old || !edited)
        return feed;
    const PrivateKey signer = signingKey(old->content, old->edSignature);
    const auto signature = signer.signature(viewBytes(edited->content), cancellation);
    return withFeedSignature(edited->content, encodeBase64(signature), edited->afterBlock);
}

} // namespace halvo
