#include "FeedItem.h"

#include "FeedDate.h"
#include "FeedNames.h"

#include <Appcast/Markdown.h>

#include <Base/Text.h>

namespace halvo {
namespace {

// What a feed says, for the writer and the reader below.
constexpr const char* unreleasedChannel = "unreleased";
constexpr const char* oneDayInSeconds = "86400";
constexpr const char* enclosureType = "application/octet-stream";
constexpr const char* defaultMinimumSystemVersion = "10.13";

/// What the prefix `sparkle` stands for at the place of a new item.
xmlNs* sparkleNamespace(xmlNode& channel, xmlNode& item) {
    xmlNs* bound = xmlSearchNs(channel.doc, &channel, reinterpret_cast<const xmlChar*>(sparklePrefix));
    if (bound == nullptr)
        return declareNamespace(*xmlDocGetRootElement(channel.doc), sparklePrefix, sparkleURI);
    // Clients know the elements by the namespace, not by the prefix.
    if (xmlStrEqual(bound->href, reinterpret_cast<const xmlChar*>(sparkleURI)) == 0)
        return declareNamespace(item, sparklePrefix, sparkleURI);
    return bound;
}

std::string enclosureAddress(const AppcastItem& item, const FeedItemContext& context) {
    if (!context.cacheBuster)
        return item.enclosureURL.absoluteString();
    const auto seconds = std::chrono::floor<std::chrono::seconds>(*context.cacheBuster).time_since_epoch();
    return item.enclosureURL.appendingQueryItem("v", std::to_string(seconds.count())).absoluteString();
}

void appendDescription(xmlNode& element, const AppcastItem& item, FeedItemContext& context) {
    if (!context.storedDescription)
        appendCDATAElement(element, "description", htmlFromMarkdown(writableText(item.releaseNotes)));
    else if (*context.storedDescription)
        xmlAddChild(&element, context.storedDescription->release());
}

void appendChannel(xmlNode& element, xmlNs* sparkle, const AppcastItem& item) {
    if (!item.isPublished) {
        appendElement(element, sparkle, "channel", unreleasedChannel);
        if (item.channel)
            appendElement(element, nullptr, "halvoChannel", *item.channel);
    } else if (item.channel)
        appendElement(element, sparkle, "channel", *item.channel);
}

/// An empty element counts as none.
std::optional<std::string> optionalText(const xmlNode& element, std::string_view name) {
    auto text = childText(element, name);
    return text && !text->empty() ? text : std::nullopt;
}

std::optional<std::int64_t> integer(const std::optional<std::string>& text) {
    return text ? parseInteger(*text) : std::nullopt;
}

void readChannel(const xmlNode& element, AppcastItem& item) {
    item.channel = optionalText(element, "sparkle:channel");
    item.isPublished = item.channel != unreleasedChannel;
    if (!item.isPublished)
        item.channel = optionalText(element, "halvoChannel");
}

} // namespace

DetachedNode makeItemElement(const AppcastItem& item, FeedItemContext context) {
    DetachedNode made = makeElement(*context.channel.doc, "item");
    xmlNode& element = *made;
    xmlNs* sparkle = sparkleNamespace(context.channel, element);
    appendElement(element, nullptr, "title", item.title);
    appendElement(element, nullptr, "pubDate", formatFeedDate(item.pubDate));
    appendElement(element, nullptr, "link", context.link.absoluteString());
    appendDescription(element, item, context);
    appendElement(element, sparkle, "version", std::to_string(item.version));
    appendElement(element, sparkle, "shortVersionString", item.shortVersionString);
    appendElement(element, sparkle, "minimumSystemVersion", item.minimumSystemVersion);
    appendChannel(element, sparkle, item);
    if (item.isCritical)
        appendElement(element, sparkle, "criticalUpdate");
    if (item.isPhasedRollout)
        appendElement(element, sparkle, "phasedRolloutInterval", oneDayInSeconds);
    xmlNode& enclosure = *appendElement(element, nullptr, "enclosure");
    setAttribute(enclosure, nullptr, "url", enclosureAddress(item, context));
    setAttribute(enclosure, nullptr, "length", std::to_string(item.enclosureLength));
    setAttribute(enclosure, nullptr, "type", enclosureType);
    setAttribute(enclosure, sparkle, "edSignature", item.edSignature);
    return made;
}

std::optional<AppcastItem> readItemElement(const xmlNode& element) {
    const auto title = childText(element, "title");
    const auto date = childText(element, "pubDate");
    const auto pubDate = date ? parseFeedDate(*date) : std::nullopt;
    const auto version = versionOf(element);
    const auto shortVersionString = childText(element, "sparkle:shortVersionString");
    const xmlNode* enclosure = firstChild(element, "enclosure");
    if (!title || !pubDate || !version || !shortVersionString || enclosure == nullptr)
        return std::nullopt;
    const auto address = attributeText(*enclosure, "url");
    const auto url = address ? URL::parse(address->substr(0, address->find('?'))) : std::nullopt;
    const auto length = integer(attributeText(*enclosure, "length"));
    const auto signature = attributeText(*enclosure, "sparkle:edSignature");
    if (!url || !length || !signature)
        return std::nullopt;

    AppcastItem item{
        .title = *title,
        .pubDate = *pubDate,
        .releaseNotes = childText(element, "description").value_or(""),
        .enclosureURL = *url,
        .enclosureLength = *length,
        .version = *version,
        .shortVersionString = *shortVersionString,
        .minimumSystemVersion =
            optionalText(element, "sparkle:minimumSystemVersion").value_or(defaultMinimumSystemVersion),
        .edSignature = *signature,
        .isPhasedRollout = firstChild(element, "sparkle:phasedRolloutInterval") != nullptr,
        .isCritical = firstChild(element, "sparkle:criticalUpdate") != nullptr,
    };
    readChannel(element, item);
    return item;
}

std::optional<std::int64_t> versionOf(const xmlNode& element) {
    return integer(childText(element, "sparkle:version"));
}

bool hasVersions(const xmlNode& element, std::int64_t version, const std::string& shortVersionString) {
    return versionOf(element) == version &&
           childText(element, "sparkle:shortVersionString") == shortVersionString;
}

} // namespace halvo
