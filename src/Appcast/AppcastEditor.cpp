#include <Appcast/AppcastEditor.h>

#include "FeedDate.h"
#include "FeedText.h"
#include "ItemReader.h"

#include <Appcast/Markdown.h>
#include <Base/Text.h>

#include <map>

namespace halvo {
namespace {

constexpr std::string_view blanks = " \t\r\n";
constexpr std::string_view defaultIndentation = "    ";
constexpr const char* oneDayInSeconds = "86400";

std::string element(std::string_view name, std::string_view content) {
    return "<" + std::string(name) + ">" + std::string(content) + "</" + std::string(name) + ">";
}

std::string sparkleDeclaration() { return " xmlns:sparkle=\"" + std::string(sparkleURI) + "\""; }

/// The white space in front of a place, when it stands between two pieces of markup; empty where text does.
std::string_view blanksBefore(std::string_view text, std::size_t place) {
    const std::size_t last = place == 0 ? std::string_view::npos : text.find_last_not_of(blanks, place - 1);
    if (last == std::string_view::npos || text[last] != '>')
        return {};
    return text.substr(last + 1, place - last - 1);
}

/// What follows the last line break; absent without one.
std::optional<std::string_view> indentation(std::string_view white) {
    const std::size_t lineEnd = white.rfind('\n');
    return lineEnd == std::string_view::npos ? std::nullopt : std::optional(white.substr(lineEnd + 1));
}

/// What `deeper` adds to `shallower`; absent when it is not a deeper line of the same style.
std::optional<std::string> difference(std::optional<std::string_view> deeper,
                                      std::optional<std::string_view> shallower) {
    if (!deeper || !shallower || deeper->size() <= shallower->size() || !deeper->starts_with(*shallower))
        return std::nullopt;
    return std::string(deeper->substr(shallower->size()));
}

/// Where a new item goes and how it is indented, found from what the feed holds, so that what is added looks
/// like what is there. A feed on one line stays on one line.
struct ItemPlace {
    std::size_t place = 0;
    std::string before{};         ///< the white space in front of the item
    std::string beforeChildren{}; ///< the white space in front of each of its children
    std::string beforeEnd{};      ///< and in front of its closing tag
};

ItemPlace placeForItem(const FeedText& feed, const FeedElement& channel) {
    const std::string_view text = feed.text();
    const FeedElement* first = channel.child("item");
    const std::size_t end = first ? first->range.begin : channel.content.end;
    const std::string_view beforeEnd = blanksBefore(text, end);
    const FeedElement* model = first ? first : channel.children.empty() ? nullptr : &channel.children.back();
    const std::string_view beforeModel = model ? blanksBefore(text, model->range.begin) : std::string_view();
    const auto own = indentation(beforeModel);
    const auto ofChannel = indentation(blanksBefore(text, channel.range.begin));

    std::optional<std::string> unit;
    if (first && !first->children.empty())
        unit = difference(indentation(blanksBefore(text, first->children.front().range.begin)), own);
    if (!unit)
        unit = difference(own, ofChannel);
    if (!unit)
        unit = difference(ofChannel, "");
    if (!unit)
        unit = beforeModel.ends_with('\t') ? "\t" : std::string(defaultIndentation);

    // The white space in front of the next item, or of the channel's end, goes on belonging to that.
    ItemPlace made{.place = end - beforeEnd.size(), .before = std::string(beforeModel)};
    if (model == nullptr && !beforeEnd.empty())
        made.before = std::string(beforeEnd) + *unit;
    if (const auto ownIndentation = indentation(made.before)) {
        const bool endsLinesLikeWindows = made.before.find("\r\n") != std::string::npos;
        made.beforeEnd = (endsLinesLikeWindows ? "\r\n" : "\n") + std::string(*ownIndentation);
        made.beforeChildren = made.beforeEnd + *unit;
    }
    // White space behind other text would become a part of it, and stay when the item goes.
    if (made.place > channel.content.begin && text[made.place - 1] != '>')
        made.before.clear();
    return made;
}

std::string newFeed(const std::string& appName, const URL& baseURL) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<rss version=\"2.0\"" + sparkleDeclaration() +
           " xmlns:dc=\"http://purl.org/dc/elements/1.1/\">\n    <channel>\n        " +
           element("title", escapedText(appName)) + "\n        " +
           element("link", escapedText(baseURL.absoluteString())) + "\n        " +
           element("description", escapedText("Updates for " + appName)) + "\n        " +
           element("language", "en") + "\n    </channel>\n</rss>\n";
}

std::string enclosureTag(const AppcastItem& item, const URL& address) {
    return "<enclosure url=\"" + escapedAttribute(address.absoluteString()) + "\" length=\"" +
           std::to_string(item.enclosureLength) +
           "\" type=\"application/octet-stream\" sparkle:edSignature=\"" +
           escapedAttribute(item.edSignature) + "\"/>";
}

std::vector<std::string> childrenOf(const AppcastItem& item, const URL& link, const URL& address) {
    std::vector<std::string> children{
        element("title", escapedText(item.title)),
        element("pubDate", formatFeedDate(item.pubDate)),
        element("link", escapedText(link.absoluteString())),
        element("description", cdata(htmlFromMarkdown(writableText(item.releaseNotes)))),
        element("sparkle:version", std::to_string(item.version)),
        element("sparkle:shortVersionString", escapedText(item.shortVersionString)),
        element("sparkle:minimumSystemVersion", escapedText(item.minimumSystemVersion))};
    if (!item.isPublished)
        children.push_back(element("sparkle:channel", unreleasedChannel));
    if (item.channel)
        children.push_back(
            element(item.isPublished ? "sparkle:channel" : ownChannelName, escapedText(*item.channel)));
    if (item.isCritical)
        children.emplace_back("<sparkle:criticalUpdate/>");
    if (item.isPhasedRollout)
        children.push_back(element("sparkle:phasedRolloutInterval", oneDayInSeconds));
    children.push_back(enclosureTag(item, address));
    return children;
}

/// Edits of the elements of one item.
class ItemEdits {
public:
    ItemEdits(const FeedText& feed, const FeedElement& item, TextEdits& edits)
        : feed(feed), item(item), edits(edits) {}

    /// Makes `content` the text of the one child of that name; absent: there is none.
    void set(std::string_view name, const std::optional<std::string>& content) {
        const auto existing = item.childrenNamed(name);
        for (std::size_t index = content ? 1 : 0; index < existing.size(); ++index)
            remove(*existing[index]);
        if (!content)
            return;
        const std::string whole = element(name, escapedText(*content));
        if (existing.empty())
            add(whole);
        else if (trimmed(feed.textOf(*existing.front())) != *content)
            replaceContent(*existing.front(), escapedText(*content));
    }

    /// In front of the enclosure, where Halvo's own items have it.
    void add(const std::string& child) {
        const FeedElement* enclosure = item.child("enclosure");
        const std::size_t end = enclosure ? enclosure->range.begin : item.content.end;
        const FeedElement* model = enclosure               ? enclosure
                                   : item.children.empty() ? nullptr
                                                           : &item.children.back();
        const std::string_view white =
            model ? blanksBefore(feed.text(), model->range.begin) : std::string_view();
        edits.insert(end - blanksBefore(feed.text(), end).size(), std::string(white) + child);
    }

    void remove(const FeedElement& child) {
        const std::size_t white = blanksBefore(feed.text(), child.range.begin).size();
        edits.remove({child.range.begin - white, child.range.end});
    }

    void replaceContent(const FeedElement& child, const std::string& content) {
        if (!child.isEmptyTag())
            return edits.replace(child.content, content);
        const std::string tag(feed.text(child.range)); // "<description a='b'/>"
        const std::string open = tag.substr(0, tag.rfind('/'));
        edits.replace(child.range, open + ">" + content + "</" + std::string(child.name.written) + ">");
    }

private:
    const FeedText& feed;
    const FeedElement& item;
    TextEdits& edits;
};

void editNotes(const FeedText& feed, const FeedElement& item, const std::string& notes, TextEdits& edits) {
    ItemEdits itemEdits(feed, item, edits);
    const std::string html = htmlFromMarkdown(writableText(notes));
    const FeedElement* description = item.child("description");
    if (description == nullptr)
        return itemEdits.add(element("description", cdata(html)));
    if (feed.textOf(*description) == html)
        return;
    const FeedAttribute* format = description->attribute("sparkle:format");
    if (format == nullptr)
        return itemEdits.replaceContent(*description, cdata(html));
    // What is written is HTML, which needs no such attribute. The tag goes with it, in one piece.
    const std::string before(feed.text({description->range.begin, format->range.begin}));
    const std::size_t endOfTag =
        description->isEmptyTag() ? description->range.end - 2 : description->content.begin - 1;
    edits.replace(description->range, before + std::string(feed.text({format->range.end, endOfTag})) + ">" +
                                          cdata(html) + "</" + std::string(description->name.written) + ">");
}

void editChannel(const ItemReader& current, ItemEdits& edits, const ReleaseChanges& changes) {
    const bool isPublished = changes.isPublished.value_or(current.isPublished());
    const std::optional<std::string> channel = changes.channel.value_or(current.channel());
    if (isPublished == current.isPublished() && channel == current.channel())
        return;
    edits.set("sparkle:channel", isPublished ? channel : std::string(unreleasedChannel));
    edits.set(ownChannelName, isPublished ? std::nullopt : channel);
}

/// In both forms that clients know.
void removeCritical(const FeedElement& item, ItemEdits& edits) {
    edits.set("sparkle:criticalUpdate", std::nullopt);
    if (const FeedElement* tags = item.child("sparkle:tags"))
        for (const FeedElement* tag : tags->childrenNamed("sparkle:criticalUpdate"))
            edits.remove(*tag);
}

void editItem(const FeedText& feed, const FeedElement& item, const ReleaseChanges& changes,
              TextEdits& edits) {
    const ItemReader current(feed, item);
    ItemEdits itemEdits(feed, item, edits);
    if (changes.releaseNotes)
        editNotes(feed, item, *changes.releaseNotes, edits);
    editChannel(current, itemEdits, changes);
    if (changes.isCritical && *changes.isCritical != current.isCritical()) {
        if (*changes.isCritical)
            itemEdits.add("<sparkle:criticalUpdate/>");
        else
            removeCritical(item, itemEdits);
    }
    if (changes.isPhasedRollout && *changes.isPhasedRollout != current.isPhasedRollout()) {
        if (*changes.isPhasedRollout)
            itemEdits.add(element("sparkle:phasedRolloutInterval", oneDayInSeconds));
        else
            itemEdits.set("sparkle:phasedRolloutInterval", std::nullopt);
    }
}

/// Elements that are about to be written need their prefix.
void declareSparkle(const FeedText& feed, TextEdits& edits) {
    const FeedElement& root = feed.root();
    edits.insert(root.range.begin + 1 + root.name.written.size(), sparkleDeclaration());
}

const FeedElement& requireItem(const FeedText& feed, const AppcastItemID& id) {
    const FeedElement* item = findItem(feed, findChannel(feed), id);
    if (item == nullptr)
        throw AppcastEditorError(AppcastEditorError::ItemNotFound{id.version, id.shortVersionString});
    return *item;
}

/// The result of an edit, refused when it is too large to be read again.
std::string checkedResult(std::string text) {
    if (text.size() > AppcastEditor::largestDocument)
        throw AppcastXMLError("It would have " + formatByteCount(text.size()) +
                                  "; the most that is taken is " +
                                  formatByteCount(AppcastEditor::largestDocument) + ".",
                              0);
    return text;
}

} // namespace

AppcastEditor::AppcastEditor(std::string appName, URL baseURL, bool shouldUseCacheBuster, const Clock& clock)
    : appName(std::move(appName)), baseURL(std::move(baseURL)), shouldUseCacheBuster(shouldUseCacheBuster),
      clock(clock) {}

std::string AppcastEditor::upsertItem(const AppcastItem& item, std::optional<ByteView> document) const {
    const std::string made = document ? std::string() : newFeed(appName, baseURL);
    const FeedText feed = FeedText::parse(document.value_or(viewBytes(made)));
    const FeedElement& channel = findChannel(feed);
    TextEdits edits;
    for (const FeedElement* old : channel.childrenNamed("item")) {
        const ItemReader reader(feed, *old);
        if (reader.isForMacs() && parseInteger(reader.version()) == item.version)
            ItemEdits(feed, channel, edits).remove(*old);
    }
    const auto seconds = std::chrono::floor<std::chrono::seconds>(clock.now()).time_since_epoch();
    const URL address = shouldUseCacheBuster
                            ? item.enclosureURL.appendingQueryItem("v", std::to_string(seconds.count()))
                            : item.enclosureURL;
    // Clients know the elements by the namespace, not by the prefix.
    const bool needsOwnPrefix = channel.sparklePrefix == FeedElement::SparklePrefix::boundElsewhere;
    const ItemPlace place = placeForItem(feed, channel);
    std::string text = place.before + "<item" + (needsOwnPrefix ? sparkleDeclaration() : "") + ">";
    for (const std::string& child : childrenOf(item, baseURL, address))
        text += place.beforeChildren + child;
    text += place.beforeEnd + "</item>";
    if (channel.sparklePrefix == FeedElement::SparklePrefix::unbound)
        declareSparkle(feed, edits);
    if (channel.isEmptyTag())
        edits.replace({channel.range.end - 2, channel.range.end}, ">" + text + "</channel>");
    else
        edits.insert(place.place, text);
    return checkedResult(edits.appliedTo(feed.text()));
}

std::string AppcastEditor::updateItem(const AppcastItemID& id, const ReleaseChanges& changes,
                                      ByteView document) const {
    const FeedText feed = FeedText::parse(document);
    const FeedElement& item = requireItem(feed, id);
    TextEdits edits;
    editItem(feed, item, changes, edits);
    if (edits.isEmpty())
        return std::string(viewText(document));
    if (edits.write("<sparkle:") && item.sparklePrefix == FeedElement::SparklePrefix::unbound)
        declareSparkle(feed, edits);
    return checkedResult(edits.appliedTo(feed.text()));
}

std::string AppcastEditor::deleteItem(const AppcastItemID& id, ByteView document) const {
    const FeedText feed = FeedText::parse(document);
    TextEdits edits;
    ItemEdits(feed, findChannel(feed), edits).remove(requireItem(feed, id));
    return edits.appliedTo(feed.text());
}

std::string AppcastEditor::itemText(const AppcastItemID& id, ByteView document) const {
    const FeedText feed = FeedText::parse(document);
    return std::string(feed.text(requireItem(feed, id).range));
}

FeedContents AppcastEditor::read(ByteView document) const {
    const FeedText feed = FeedText::parse(document);
    const FeedElement& channel = findChannel(feed);
    FeedContents contents{.title = std::string(trimmed(feed.childText(channel, "title").value_or("")))};
    std::map<std::pair<std::int64_t, std::string>, int> twins;
    for (const FeedElement* element : channel.childrenNamed("item")) {
        const ItemReader reader(feed, *element);
        reader.gather(contents);
        auto id = reader.id();
        if (id)
            id->twin = ++twins[{id->version, id->shortVersionString}];
        const auto found = reader.read();
        if (const auto* unread = std::get_if<FeedContents::Unread>(&found))
            contents.unread.push_back(*unread);
        else
            contents.items.push_back({.item = std::get<AppcastItem>(found),
                                      .id = id.value(),
                                      .linksToNotes = element->child("sparkle:releaseNotesLink") != nullptr});
    }
    return contents;
}

std::vector<AppcastItem> AppcastEditor::parseItems(ByteView document) const {
    std::vector<AppcastItem> items;
    for (FeedContents::Item& one : read(document).items)
        items.push_back(std::move(one.item));
    return items;
}

} // namespace halvo
