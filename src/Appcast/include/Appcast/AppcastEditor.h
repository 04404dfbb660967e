#pragma once

#include <Appcast/AppcastEditorError.h>
#include <Appcast/AppcastItem.h>

#include <Base/Bytes.h>
#include <Base/URL.h>
#include <Platform/Clock.h>

#include <optional>
#include <string>
#include <vector>

namespace halvo {

/// Reads and rewrites an appcast, the RSS document that installed apps poll for updates.
///
///     rss version="2.0"
///       channel
///         title, link, description, language
///         item*                      newest first
///           title, pubDate, link, description (HTML in CDATA), sparkle:version, sparkle:shortVersionString,
///           sparkle:minimumSystemVersion, [sparkle:channel, [halvoChannel]], [sparkle:criticalUpdate],
///           [sparkle:phasedRolloutInterval], enclosure (url, length, type, sparkle:edSignature)
///
/// Names are compared as they are written, prefix included, whatever the prefix is bound to. An unpublished
/// item stands in the channel "unreleased"; its own channel waits in `halvoChannel`.
///
/// An edit changes its own item and leaves everything else as it was: comments, CDATA, elements, attributes
/// and namespaces that nobody here knows, and the white space between them. What comes out is UTF-8 with an
/// XML declaration, LF line ends and double-quoted attributes, whatever came in. Dates are written in the
/// time zone of the process (TZ), and never in its language.
///
/// Every operation throws AppcastXMLError for a document that is not well-formed XML, declares entities, is
/// nested deeper than 256 levels or has more than `largestDocument` bytes, and AppcastEditorError
/// (InvalidStructure) for one without a channel. The editor holds no state; several threads may use it.
class AppcastEditor {
public:
    static constexpr std::size_t largestDocument = std::size_t{64} << 20;

    /// Where the description of an item that is written comes from.
    enum class Description {
        fromReleaseNotes, ///< the notes as Markdown
        /// Taken over, byte for byte, from the stored item that this one replaces, and left out where that
        /// one has none. Without such an item it comes from the notes.
        asStored,
    };

    /// `appName` and `baseURL` go into new documents, `baseURL` also into each item's link. With
    /// `shouldUseCacheBuster`, enclosure addresses get a query item `v` with the seconds since 1970, so that
    /// no cache answers with an older archive of that name. The clock must outlive the editor.
    AppcastEditor(std::string appName, URL baseURL, bool shouldUseCacheBuster, const Clock& clock);

    /// Puts the item in front of all others and removes every other one of the same `version`, whatever its
    /// short version. Without a document, makes one. Gives the new document. Characters that XML cannot hold
    /// are dropped from the item's texts; one of more than 8 MB is refused with AppcastXMLError.
    std::string upsertItem(const AppcastItem& item, std::optional<ByteView> document,
                           Description description = Description::fromReleaseNotes) const;

    /// Removes the first item with both numbers. Throws AppcastEditorError (ItemNotFound) when there is none.
    std::string deleteItem(std::int64_t version, const std::string& shortVersionString,
                           ByteView document) const;

    /// The items in document order. One that lacks what a release needs, or holds what cannot be read, is
    /// passed over: it is no item of this program's.
    std::vector<AppcastItem> parseItems(ByteView document) const;

private:
    std::string appName;
    URL baseURL;
    bool shouldUseCacheBuster;
    const Clock& clock;
};

} // namespace halvo
