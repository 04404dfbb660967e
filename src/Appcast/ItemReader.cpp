#include "ItemReader.h"

#include "FeedDate.h"

#include <Base/Text.h>

namespace halvo {
namespace {

constexpr const char* defaultMinimumSystemVersion = "10.13";

/// What stands behind the last "_" of a file's name: clients take it for the version of an item that has
/// none.
std::string versionInName(const std::string& address) {
    const std::string_view path = std::string_view(address).substr(0, address.find_first_of("?#"));
    std::string_view name = path.substr(path.rfind('/') + 1);
    name = name.substr(0, name.rfind('.'));
    const std::size_t underscore = name.rfind('_');
    return underscore == std::string_view::npos ? "" : percentDecoded(name.substr(underscore + 1));
}

/// The first node in document order within `element` that is the channel, or null.
const FeedElement* channelWithin(const FeedElement& element) {
    const FeedAttribute* defaultNamespace = element.attribute("xmlns");
    if (defaultNamespace != nullptr && defaultNamespace->value.begin != defaultNamespace->value.end)
        return nullptr; // everything inside has another name for clients
    if (element.name == "channel")
        return &element;
    for (const FeedElement& child : element.children)
        if (const FeedElement* found = channelWithin(child))
            return found;
    return nullptr;
}

} // namespace

std::optional<std::string> ItemReader::text(std::string_view name) const {
    const auto found = feed.childText(element, name);
    const std::string_view kept = found ? trimmed(*found) : std::string_view();
    return kept.empty() ? std::nullopt : std::optional(std::string(kept));
}

/// An attribute of the enclosure outranks the element, also when it is empty.
std::string ItemReader::numberOf(std::string_view name) const {
    const FeedElement* enclosure = element.child("enclosure");
    if (enclosure != nullptr)
        if (auto attribute = feed.attributeText(*enclosure, name))
            return *attribute;
    return text(name).value_or("");
}

std::string ItemReader::version() const {
    std::string number = numberOf("sparkle:version");
    const FeedElement* enclosure = element.child("enclosure");
    if (!number.empty() || enclosure == nullptr)
        return number;
    return versionInName(feed.attributeText(*enclosure, "url").value_or(""));
}

std::string ItemReader::shortVersionString() const {
    std::string shown = numberOf("sparkle:shortVersionString");
    return shown.empty() ? version() : shown;
}

std::optional<AppcastItemID> ItemReader::id() const {
    const auto number = parseInteger(version());
    if (!number)
        return std::nullopt;
    return AppcastItemID{.version = *number, .shortVersionString = shortVersionString()};
}

bool ItemReader::isForMacs() const {
    const FeedElement* enclosure = element.child("enclosure");
    const auto system = enclosure ? feed.attributeText(*enclosure, "sparkle:os") : std::nullopt;
    return !system || *system == "macos";
}

bool ItemReader::isCritical() const {
    const FeedElement* tags = element.child("sparkle:tags");
    return element.child("sparkle:criticalUpdate") != nullptr ||
           (tags != nullptr && tags->child("sparkle:criticalUpdate") != nullptr);
}

bool ItemReader::isPublished() const { return text("sparkle:channel") != unreleasedChannel; }

std::optional<std::string> ItemReader::channel() const {
    return text(isPublished() ? "sparkle:channel" : ownChannelName);
}

std::string ItemReader::label() const {
    const std::string shown = shortVersionString();
    const auto title = text("title");
    return title ? *title : shown;
}

std::variant<AppcastItem, FeedContents::Unread> ItemReader::read() const {
    const auto unread = [this](std::string reason) {
        return FeedContents::Unread{label(), std::move(reason)};
    };
    const FeedElement* enclosure = element.child("enclosure");
    if (enclosure == nullptr)
        return unread("it has no enclosure");
    if (!isForMacs())
        return unread("it is for another system");
    const auto signature = feed.attributeText(*enclosure, "sparkle:edSignature");
    if (!signature || trimmed(*signature).empty())
        return unread("it has no EdDSA signature");
    const std::string number = version();
    const auto version = parseInteger(number);
    if (!version)
        return unread(number.empty() ? "it has no version"
                                     : "its version \"" + number + "\" is not a whole number");
    const auto title = feed.childText(element, "title");
    if (!title)
        return unread("it has no title");
    const auto date = text("pubDate");
    const auto pubDate = date ? parseFeedDate(*date) : std::nullopt;
    if (!pubDate)
        return unread(date ? "its date cannot be read" : "it has no date");
    const std::string address = feed.attributeText(*enclosure, "url").value_or("");
    const auto url = URL::parse(address.substr(0, address.find('?')));
    if (!url)
        return unread("its download address is not an absolute URL");
    const auto length = parseInteger(feed.attributeText(*enclosure, "length").value_or(""));
    if (!length)
        return unread("its length is not a number");
    const FeedElement* notes = description();
    return AppcastItem{
        .title = *title,
        .pubDate = *pubDate,
        .releaseNotes = notes ? feed.textOf(*notes) : "",
        .enclosureURL = *url,
        .enclosureLength = *length,
        .version = *version,
        .shortVersionString = shortVersionString(),
        .minimumSystemVersion = text("sparkle:minimumSystemVersion").value_or(defaultMinimumSystemVersion),
        .edSignature = std::string(trimmed(*signature)),
        .channel = channel(),
        .isPhasedRollout = isPhasedRollout(),
        .isCritical = isCritical(),
        .isPublished = isPublished(),
    };
}

void ItemReader::gather(FeedContents& contents) const {
    const FeedElement* enclosure = element.child("enclosure");
    if (isForMacs()) {
        const std::size_t before = contents.builds.size();
        if (auto inElement = text("sparkle:version"))
            contents.builds.push_back(std::move(*inElement));
        if (const auto inAttribute =
                enclosure ? feed.attributeText(*enclosure, "sparkle:version") : std::nullopt)
            contents.builds.push_back(*inAttribute);
        if (contents.builds.size() == before)
            contents.builds.push_back(version());
    }
    const auto addDownloads = [&](const FeedElement& parent) {
        for (const FeedElement* one : parent.childrenNamed("enclosure"))
            contents.downloads.push_back(feed.attributeText(*one, "url").value_or(""));
    };
    addDownloads(element);
    if (const FeedElement* deltas = element.child("sparkle:deltas"))
        addDownloads(*deltas);
}

const FeedElement& findChannel(const FeedText& feed) {
    if (const FeedElement* channel = channelWithin(feed.root()))
        return *channel;
    throw AppcastEditorError(AppcastEditorError::InvalidStructure{"Missing channel element"});
}

const FeedElement* findItem(const FeedText& feed, const FeedElement& channel, const AppcastItemID& id) {
    int twin = 0;
    for (const FeedElement& child : channel.children) {
        if (child.name != "item")
            continue;
        const auto found = ItemReader(feed, child).id();
        if (found && found->version == id.version && found->shortVersionString == id.shortVersionString &&
            ++twin == id.twin)
            return &child;
    }
    return nullptr;
}

} // namespace halvo
