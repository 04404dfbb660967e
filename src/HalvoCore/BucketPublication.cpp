#include <HalvoCore/BucketPublication.h>

#include <HalvoCore/DeterministicUUID.h>

#include <Appcast/AppcastEditor.h>
#include <Base/Text.h>
#include <Base/Unicode.h>
#include <Models/Artifact.h>

#include <algorithm>
#include <limits>
#include <map>

namespace halvo {
namespace {

const UUID nameSpace = *UUID::parse("6D1A9F1C-3B7E-5A2D-9C4F-8E0A1B2C3D4E");

/// What Amazon takes in one request.
constexpr std::uint64_t largestPut = std::uint64_t{5} << 30;

std::string versions(const AppcastItem& item) {
    return item.shortVersionString + " (" + std::to_string(item.version) + ")";
}

UUID idOf(const AppcastItemID& id) { return appcastReleaseID(id.version, id.shortVersionString, id.twin); }

Release makeRelease(const AppcastItem& item, const UUID& id) {
    return {.id = id,
            .title = item.title,
            .bundleVersion = item.version,
            .bundleVersionString = item.shortVersionString,
            .releaseNotes = item.releaseNotes,
            .minimumSystemVersion = item.minimumSystemVersion,
            .fileSize = item.enclosureLength,
            .downloadURL = item.enclosureURL,
            .channel = item.channel,
            .isPhasedRollout = item.isPhasedRollout,
            .isCritical = item.isCritical,
            .isPublished = item.isPublished,
            .createdAt = item.pubDate};
}

/// The published item of a channel that clients of it are offered; null when there is none.
const AppcastItem* newestIn(const FeedContents& contents, const std::optional<std::string>& channel) {
    const AppcastItem* newest = nullptr;
    for (const auto& [item, id, linksToNotes] : contents.items)
        if (item.isPublished && item.channel == channel && (!newest || item.version > newest->version))
            newest = &item;
    return newest;
}

/// The last part of an address, as it may stand in a feed: also relative, and with a query.
std::string fileNameIn(const std::string& address) {
    const std::string_view path = std::string_view(address).substr(0, address.find_first_of("?#"));
    return composed(percentDecoded(path.substr(path.rfind('/') + 1)));
}

bool isAmazon(const S3Configuration& configuration) {
    return !configuration.endpoint || configuration.endpoint->host().ends_with(".amazonaws.com");
}

void refuseTooLarge(std::uint64_t fileSize, const S3Configuration& configuration) {
    if (fileSize > largestPut && isAmazon(configuration))
        throw CodedFailure("file_too_large", "The file has " + formatByteCount(fileSize) +
                                                 "; Amazon S3 takes at most 5 GiB in one request.");
}

std::string fileExtension(const std::filesystem::path& file) { return lowercased(pathExtension(file)); }

Failure notInFeed(const Release& release) {
    return Failure("Release not found: " + release.versionDescription());
}

/// Neither the title nor the name of any file is the app's.
bool isOfAnotherApp(const FeedContents& contents, const std::string& appName) {
    const auto isOwn = [&](const std::string& address) {
        return fileNameIn(address).starts_with(artifactName(appName));
    };
    return contents.itemCount() > 0 && contents.title != appName &&
           std::ranges::none_of(contents.downloads, isOwn);
}

/// "Not shown, because it has no EdDSA signature: 1.0, 1.1 (2 items)", a line for each reason.
Warnings unreadLines(const std::vector<FeedContents::Unread>& unread) {
    constexpr std::size_t mostNamed = 3;
    std::map<std::string, std::vector<std::string>> labels;
    for (const FeedContents::Unread& item : unread)
        labels[item.reason].push_back(item.label.empty() ? "an item without a name" : item.label);
    Warnings lines;
    for (auto& [reason, named] : labels) {
        const std::string count = std::to_string(named.size()) + (named.size() == 1 ? " item" : " items");
        const bool isCut = named.size() > mostNamed;
        named.resize(std::min(named.size(), mostNamed));
        lines.push_back("Not shown, because " + reason + ": " + joined(named, ", ") + (isCut ? " ..." : "") +
                        " (" + count + ")");
    }
    return lines;
}

} // namespace

UUID appcastReleaseID(std::int64_t version, const std::string& shortVersionString, int twin) {
    std::string name = std::to_string(version) + "|" + shortVersionString;
    if (twin > 1)
        name += "|" + std::to_string(twin);
    return DeterministicUUID::v5(nameSpace, name);
}

std::optional<std::string> titleOfAnotherAppsFeed(ByteView feed, const std::string& appName) {
    try {
        const SystemClock clock;
        const FeedContents contents = AppcastEditor(appName, URL(), false, clock).read(feed);
        return isOfAnotherApp(contents, appName) ? std::optional(contents.title) : std::nullopt;
    } catch (const Failure&) { // not a feed
        return std::nullopt;
    }
}

/// A new release as an item of the feed.
class BucketPublication::Upsert final : public FeedChange {
public:
    Upsert(const BucketPublication& publication, AppcastItem item, const std::string& appName)
        : publication(publication), item(std::move(item)), appName(appName),
          editor(appName, publication.store.configuration().publicBaseURL, true, publication.clock) {}

    std::string appliedTo(std::optional<ByteView> feed) override {
        if (feed)
            publication.refuseFeedOfAnotherApp(editor.read(*feed), appName);
        return editor.upsertItem(item, feed);
    }
    bool isIn(ByteView feed) const override { return find(editor.read(feed)).has_value(); }

    /// The identifier under which the feed lists it.
    std::optional<UUID> find(const FeedContents& contents) const {
        for (const auto& [stored, id, linksToNotes] : contents.items)
            if (stored.version == item.version && stored.edSignature == item.edSignature)
                return idOf(id);
        return std::nullopt;
    }

private:
    const BucketPublication& publication;
    AppcastItem item;
    std::string appName;
    AppcastEditor editor;
};

/// A change of one listed release, or its removal.
class BucketPublication::Edit final : public FeedChange {
public:
    /// Without `changes` the item is removed.
    Edit(const BucketPublication& publication, const Release& release, std::optional<ReleaseChanges> changes)
        : publication(publication), release(release), changes(std::move(changes)),
          editor(publication.appName.value_or(""), publication.store.configuration().publicBaseURL, false,
                 publication.clock) {}

    std::string appliedTo(std::optional<ByteView> feed) override {
        if (!feed)
            throw notInFeed(release);
        const FeedContents contents = editor.read(*feed);
        if (publication.appName)
            publication.refuseFeedOfAnotherApp(contents, *publication.appName);
        if (removedText && isIn(*feed)) // an earlier write of ours, whose answer was lost
            return std::string(viewText(*feed));
        const auto found =
            std::ranges::find(contents.items, release.id, [](const auto& one) { return idOf(one.id); });
        if (found == contents.items.end())
            throw notInFeed(release);
        before = contents;
        item = found->item;
        linksToNotes = found->linksToNotes;
        if (changes)
            return editor.updateItem(found->id, *changes, *feed);
        const std::string text = editor.itemText(found->id, *feed);
        if (removedText && text != *removedText) // twins: which of them is meant cannot be told any more
            throw Failure("Release " + release.versionDescription() +
                          " was changed by somebody else meanwhile. List the releases and try again.");
        removedText = text;
        remaining = count(*removedText, *feed) - 1;
        return editor.deleteItem(found->id, *feed);
    }

    bool isIn(ByteView feed) const override {
        if (!changes)
            return count(*removedText, feed) <= remaining;
        const FeedContents contents = editor.read(feed);
        const auto found =
            std::ranges::find(contents.items, release.id, [](const auto& one) { return idOf(one.id); });
        return found == contents.items.end() || // somebody removed it: that is theirs to decide
               editor.updateItem(found->id, *changes, feed) == viewText(feed);
    }

    FeedContents before{};
    AppcastItem item{};
    bool linksToNotes = false;

private:
    static std::size_t count(std::string_view part, ByteView feed) {
        std::size_t found = 0;
        const std::string_view text = viewText(feed);
        for (std::size_t place = text.find(part); place != std::string_view::npos;
             place = text.find(part, place + part.size()))
            ++found;
        return found;
    }

    const BucketPublication& publication;
    Release release;
    std::optional<ReleaseChanges> changes;
    AppcastEditor editor;
    std::optional<std::string> removedText{};
    std::size_t remaining = 0; ///< items with that very text that are to stay
};

BucketPublication::BucketPublication(const Options& options, Platform& platform)
    : store(options.configuration, options.access, platform), appName(options.appName),
      adoptsFeed(options.adoptsFeed), clock(platform.clock), feed(store, platform, options.feedKey) {}

FeedContents BucketPublication::contents(ByteView bytes) const {
    return AppcastEditor(appName.value_or(""), store.configuration().publicBaseURL, false, clock).read(bytes);
}

void BucketPublication::refuseFeedOfAnotherApp(const FeedContents& contents, const std::string& name) const {
    if (adoptsFeed || !isOfAnotherApp(contents, name))
        return;
    throw CodedFailure(
        "feed_of_another_app",
        "The feed " + feedURL().absoluteString() + " belongs to another app (\"" + contents.title +
            "\"): neither its title nor any of its files has the name " + name +
            ". Give this app a place of its own with --s3-path-prefix or --s3-appcast-path. If it was "
            "renamed, run `halvo release` once with --adopt-feed.");
}

Publication::Listing BucketPublication::list() {
    const auto bytes = feed.read();
    if (!bytes)
        return {};
    const FeedContents found = contents(*bytes);
    Listing listing{.unread = unreadLines(found.unread)};
    for (const auto& [item, id, linksToNotes] : found.items)
        listing.releases.push_back(makeRelease(item, idOf(id)));
    return listing;
}

std::int64_t BucketPublication::nextBuildNumber() {
    const auto bytes = feed.read();
    std::int64_t highest = 0;
    for (const std::string& build : bytes ? contents(*bytes).builds : std::vector<std::string>()) {
        const auto number = parseInteger(build);
        if (!number)
            throw Failure("An item of the feed has the version \"" + build +
                          "\", which is not a whole number.");
        highest = std::max(highest, *number);
    }
    if (highest == std::numeric_limits<std::int64_t>::max())
        throw Failure("No build number comes after " + std::to_string(highest) + ".");
    return highest + 1;
}

void BucketPublication::reach() {
    if (const auto bytes = feed.read()) {
        contents(*bytes);
        feed.requireSigningKey(*bytes);
    }
}

Warnings BucketPublication::preflightCheck(const BundleInfo& info, const ReleaseConfiguration& configuration,
                                           std::optional<std::uint64_t> fileSize) {
    refuseTooLarge(fileSize.value_or(0), store.configuration());
    const auto bytes = feed.read();
    if (!bytes)
        return {};
    const FeedContents found = contents(*bytes);
    refuseFeedOfAnotherApp(found, info.name);
    feed.requireSigningKey(*bytes);

    Warnings warnings;
    for (const auto& [item, id, linksToNotes] : found.items)
        if (item.version == info.version && item.shortVersionString != info.versionString)
            warnings.push_back(
                info.versionDescription() + " takes the place of " + versions(item) +
                " in the feed, since clients tell releases apart by their build number alone. To have "
                "both, release each with a build number of its own.");
    const AppcastItem* newest = newestIn(found, configuration.channel);
    if (configuration.isPublished && newest && newest->version > info.version) {
        std::string warning = info.versionDescription() + " is older than " + versions(*newest) +
                              ", which clients go on being offered.";
        if (!configuration.channel)
            warning += " The latest copy will give the older one: to undo that, release " +
                       versions(*newest) + " again.";
        warnings.push_back(warning + " To take this release back, run `halvo releases delete " +
                           appcastReleaseID(info.version, info.versionString).string() + " -b " +
                           info.identifier + "`.");
    }
    return warnings;
}

Publication::Uploaded BucketPublication::upload(const PreparedBinary& prepared, const BundleInfo& info,
                                                const ReleaseConfiguration& configuration,
                                                const TransferProgress& progress) {
    const std::string extension = fileExtension(prepared.file());
    const std::string filename =
        artifactName(info.name + "-" + info.versionString + "-" + std::to_string(info.version)) + "." +
        extension;
    const bool isLatest = !configuration.channel && configuration.isPublished;

    refuseTooLarge(std::filesystem::file_size(prepared.file()), store.configuration());
    const URL downloadURL = store.upload(prepared.file(), filename, contentType(extension), progress);
    if (isLatest)
        store.copy(filename, artifactName(info.name) + "." + extension);
    const AppcastItem item{.title = info.versionDescription(),
                           .pubDate = clock.now(),
                           .releaseNotes = configuration.releaseNotes,
                           .enclosureURL = downloadURL,
                           .enclosureLength =
                               static_cast<std::int64_t>(std::filesystem::file_size(prepared.file())),
                           .version = info.version,
                           .shortVersionString = info.versionString,
                           .minimumSystemVersion = info.minimumSystemVersion,
                           .edSignature = prepared.signature,
                           .channel = configuration.channel,
                           .isPhasedRollout = configuration.isPhasedRollout,
                           .isCritical = configuration.isCritical,
                           .isPublished = configuration.isPublished};
    Upsert upsert(*this, item, info.name);
    const FeedContents written = contents(viewBytes(feed.change(upsert)));
    const UUID id = upsert.find(written).value_or(appcastReleaseID(item.version, item.shortVersionString));
    return {.release = makeRelease(item, id),
            .latestDownloadURL =
                isLatest ? store.configuration().downloadURL(artifactName(info.name) + "." + extension)
                         : latestCopy(written, info, extension)};
}

std::optional<URL> BucketPublication::latestCopy(const FeedContents& found, const BundleInfo& info,
                                                 const std::string& extension) const {
    const AppcastItem* newest = newestIn(found, std::nullopt);
    const std::string name = artifactName(info.name) + "." +
                             (newest ? lowercased(newest->enclosureURL.pathExtension()) : extension);
    try {
        return store.exists(name) ? std::optional(store.configuration().downloadURL(name)) : std::nullopt;
    } catch (const S3UploadError&) {
        return std::nullopt; // the release is out; an address that may not answer is not told
    }
}

Warnings BucketPublication::update(const Release& release, const ReleaseChanges& changes) {
    Edit edit(*this, release, changes);
    const FeedContents after = contents(viewBytes(feed.change(edit)));
    Warnings warnings = staleCopyWarnings(edit.before, after);
    if (changes.releaseNotes && edit.linksToNotes)
        warnings.emplace_back(
            "The item links to its release notes, and clients show that page in place of these.");
    return warnings;
}

Warnings BucketPublication::remove(const Release& release) {
    Edit edit(*this, release, std::nullopt);
    const FeedContents after = contents(viewBytes(feed.change(edit)));
    Warnings warnings = staleCopyWarnings(edit.before, after);
    // The feed no longer names the file; only now may it go.
    const auto key = extractBinaryKey(edit.item.enclosureURL.absoluteString());
    const bool isStillNamed = std::ranges::any_of(
        after.downloads, [&](const std::string& address) { return extractBinaryKey(address) == key; });
    if (key && isStillNamed)
        warnings.push_back("The file " + *key + " stays, since another item of the feed names it.");
    else if (key)
        store.deleteFullKey(*key);
    return warnings;
}

Warnings BucketPublication::staleCopyWarnings(const FeedContents& before, const FeedContents& after) const {
    const AppcastItem* old = newestIn(before, std::nullopt);
    const AppcastItem* current = newestIn(after, std::nullopt);
    if (old == nullptr ? current == nullptr : current != nullptr && versions(*current) == versions(*old))
        return {};
    const AppcastItem& named = current ? *current : *old;
    const std::string name =
        artifactName(appName.value_or(before.title)) + "." + lowercased(named.enclosureURL.pathExtension());
    const std::string address = store.configuration().downloadURL(name).absoluteString();
    bool exists = true;
    try {
        exists = store.exists(name);
    } catch (const S3UploadError&) { // it may be there: better told than not
    }
    if (!exists && current == nullptr)
        return {};
    return {(exists ? "The latest copy " + address + " does not follow this change. To renew it, release "
                    : "There is no latest copy at " + address + ". To make one, release ") +
            (current ? versions(*current) + " again, or a newer version." : "a new version.")};
}

std::optional<std::string> BucketPublication::extractBinaryKey(const std::string& address) const {
    const std::string& base = store.configuration().publicBaseURL.absoluteString();
    std::string_view text = address;
    if (!text.starts_with(base))
        return std::nullopt;
    text.remove_prefix(base.size());
    if (text.starts_with('/'))
        text.remove_prefix(1);
    else if (!base.ends_with('/')) // "https://x/ab" does not lie below "https://x/a"
        return std::nullopt;
    text = text.substr(0, text.find('?'));
    if (text.empty())
        return std::nullopt;
    return percentDecoded(text);
}

} // namespace halvo
