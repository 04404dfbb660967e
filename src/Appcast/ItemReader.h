#pragma once

#include "FeedText.h"

#include <Appcast/AppcastEditor.h>

#include <variant>

namespace halvo {

/// The channel of "unpublished" items, and the element in which their own channel waits.
inline constexpr std::string_view unreleasedChannel = "unreleased";
inline constexpr std::string_view ownChannelName = "halvoChannel";

/// Reads one `item` element as clients do.
class ItemReader {
public:
    ItemReader(const FeedText& feed, const FeedElement& element) : feed(feed), element(element) {}

    /// The item, or why it is not a release.
    std::variant<AppcastItem, FeedContents::Unread> read() const;

    /// The build number as text; empty when there is none.
    std::string version() const;
    std::string shortVersionString() const;
    std::optional<AppcastItemID> id() const; ///< as the first of its twins; absent without an integer version
    /// False where the archive is for another system than macOS.
    bool isForMacs() const;
    bool isCritical() const;
    bool isPhasedRollout() const { return element.child("sparkle:phasedRolloutInterval") != nullptr; }
    bool isPublished() const;
    std::optional<std::string> channel() const;
    /// The element that an edit of the notes replaces.
    const FeedElement* description() const { return element.child("description"); }

    /// Adds what `FeedContents` gathers of every item.
    void gather(FeedContents& contents) const;

private:
    /// The trimmed text of the first child of that name; absent when it is missing or empty.
    std::optional<std::string> text(std::string_view name) const;
    std::string numberOf(std::string_view name) const;
    std::string label() const;

    const FeedText& feed;
    const FeedElement& element;
};

/// The first `channel` of the document in no namespace. Throws AppcastEditorError (InvalidStructure).
const FeedElement& findChannel(const FeedText& feed);

/// The item with that identifier, or null.
const FeedElement* findItem(const FeedText& feed, const FeedElement& channel, const AppcastItemID& id);

} // namespace halvo
