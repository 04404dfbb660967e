#pragma once

#include <Appcast/AppcastEditorError.h>
#include <Appcast/AppcastItem.h>

#include <Base/Bytes.h>
#include <Base/URL.h>
#include <Models/Release.h>
#include <Platform/Clock.h>

#include <optional>
#include <string>
#include <vector>

namespace halvo {

/// Which item of a feed is meant.
struct AppcastItemID {
    std::int64_t version = 0;
    std::string shortVersionString{};
    /// 1 for the first item with both numbers, 2 for the next. Twins come from other tools.
    int twin = 1;
    bool operator==(const AppcastItemID&) const = default;
};

/// What a feed holds.
struct FeedContents {
    struct Item {
        AppcastItem item{};
        AppcastItemID id{};
        /// The item links to its notes (`sparkle:releaseNotesLink`), which clients show in place of
        /// `releaseNotes`.
        bool linksToNotes = false;
    };
    /// An item that is not shown as a release.
    struct Unread {
        std::string label{};  ///< its title or version, for people; may be empty
        std::string reason{}; ///< "it has no EdDSA signature"
    };

    std::string title{}; ///< of the channel
    std::vector<Item> items{};
    std::vector<Unread> unread{};
    /// The text of every build number that stands in an item for Macs, as attribute or as element, published
    /// or not.
    std::vector<std::string> builds{};
    /// The addresses of all archives and deltas, as they are written.
    std::vector<std::string> downloads{};

    std::size_t itemCount() const { return items.size() + unread.size(); }
};

/// Reads and edits an appcast, the RSS document that installed apps poll for updates.
///
///     rss version="2.0"
///       channel
///         title, link, description, language
///         item*                      newest first
///           title, pubDate, link, description (HTML in CDATA), sparkle:version, sparkle:shortVersionString,
///           sparkle:minimumSystemVersion, [sparkle:channel, [halvoChannel]], [sparkle:criticalUpdate],
///           [sparkle:phasedRolloutInterval], enclosure (url, length, type, sparkle:edSignature)
///
/// An item is read as clients read it: both numbers may stand as attributes of `enclosure`, which outrank the
/// elements; Sparkle's names are known by their namespace or by the written prefix `sparkle`; text is
/// trimmed. An unpublished item stands in the channel "unreleased"; its own channel waits in `halvoChannel`.
///
/// A feed is edited as text: every character outside of the elements that an edit is about stays as it was,
/// and an edit that sets what is there already gives the same bytes. Only a feed in another encoding comes
/// out as UTF-8. Dates are written in the time zone of the process (TZ), and never in its language.
///
/// Every operation throws AppcastXMLError for a document that is not well-formed XML, declares entities, is
/// nested deeper than 256 levels or has more than `largestDocument` bytes, and AppcastEditorError
/// (InvalidStructure) for one without a channel. The editor holds no state; several threads may use it.
class AppcastEditor {
public:
    static constexpr std::size_t largestDocument = std::size_t{64} << 20;

    /// `appName` and `baseURL` go into new documents, `baseURL` also into each new item's link. With
    /// `shouldUseCacheBuster`, enclosure addresses get a query item `v` with the seconds since 1970, so that
    /// no cache answers with an older archive of that name. The clock must outlive the editor.
    AppcastEditor(std::string appName, URL baseURL, bool shouldUseCacheBuster, const Clock& clock);

    /// Puts the item in front of all others and removes every other one of the same `version`, whatever its
    /// short version, but for those of other systems. Without a document, makes one. Characters that XML
    /// cannot hold are dropped from the item's texts; one of more than 8 MB is refused with AppcastXMLError.
    std::string upsertItem(const AppcastItem& item, std::optional<ByteView> document) const;

    /// Changes an item where it stands. Throws AppcastEditorError (ItemNotFound).
    std::string updateItem(const AppcastItemID& id, const ReleaseChanges& changes,
                           ByteView document) const;

    /// Removes one item. Throws AppcastEditorError (ItemNotFound).
    std::string deleteItem(const AppcastItemID& id, ByteView document) const;

    /// The text of one item, from "<item" to "</item>". Throws AppcastEditorError (ItemNotFound).
    std::string itemText(const AppcastItemID& id, ByteView document) const;

    FeedContents read(ByteView document) const;
    /// The items of `read`, in document order.
    std::vector<AppcastItem> parseItems(ByteView document) const;

private:
    std::string appName;
    URL baseURL;
    bool shouldUseCacheBuster;
    const Clock& clock;
};

} // namespace halvo
