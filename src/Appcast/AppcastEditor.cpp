#include <Appcast/AppcastEditor.h>

#include "ChannelLayout.h"
#include "FeedItem.h"
#include "FeedNames.h"
#include "XMLDocument.h"

#include <new>

namespace halvo {
namespace {

/// The next node in document order within `root`, or null.
xmlNode* following(xmlNode* node, const xmlNode* root) {
    if (node->type == XML_ELEMENT_NODE && node->children != nullptr)
        return node->children;
    while (node != root && node->next == nullptr)
        node = node->parent;
    return node == root ? nullptr : node->next;
}

/// The node that the XPath "//channel" finds first: of that name and in no namespace.
xmlNode& findChannel(xmlDoc& document) {
    xmlNode* root = xmlDocGetRootElement(&document);
    for (xmlNode* node = root; node != nullptr; node = following(node, root))
        if (isElement(*node, "channel") && node->ns == nullptr)
            return *node;
    throw AppcastEditorError(AppcastEditorError::InvalidStructure{"Missing channel element"});
}

XMLDocument makeFeed(const std::string& appName, const URL& baseURL) {
    XMLDocument document(xmlNewDoc(reinterpret_cast<const xmlChar*>("1.0")));
    if (!document)
        throw std::bad_alloc();
    xmlNode* rss = makeElement(*document, "rss").release();
    xmlDocSetRootElement(document.get(), rss);
    setAttribute(*rss, nullptr, "version", "2.0");
    declareNamespace(*rss, sparklePrefix, sparkleURI);
    declareNamespace(*rss, dublinCorePrefix, dublinCoreURI);

    appendBlanks(*rss, "\n    ");
    xmlNode& channel = *appendElement(*rss, nullptr, "channel");
    appendBlanks(*rss, "\n");
    appendElement(channel, nullptr, "title", appName);
    appendElement(channel, nullptr, "link", baseURL.absoluteString());
    appendElement(channel, nullptr, "description", "Updates for " + appName);
    appendElement(channel, nullptr, "language", "en");
    for (xmlNode* child = channel.children; child != nullptr; child = child->next)
        insertBlanksBefore(*child, "\n        ");
    appendBlanks(channel, "\n    ");
    return document;
}

/// The description of the item that an upsert of `item` replaces, taken out of it: the one with both numbers
/// if there is such an item, else the first of that version. Absent without such an item, null when it has
/// none.
std::optional<DetachedNode> takeStoredDescription(const xmlNode& channel, const AppcastItem& item) {
    const xmlNode* stored = nullptr;
    for (const xmlNode* child = channel.children; child != nullptr; child = child->next) {
        if (!isElement(*child, "item") || versionOf(*child) != item.version)
            continue;
        const bool matchesBoth = hasVersions(*child, item.version, item.shortVersionString);
        if (stored == nullptr || matchesBoth)
            stored = child;
        if (matchesBoth)
            break;
    }
    if (stored == nullptr)
        return std::nullopt;
    xmlNode* description = firstChild(*stored, "description");
    return description ? detach(*description) : DetachedNode();
}

void removeItems(xmlNode& channel, std::int64_t version) {
    xmlNode* child = channel.children;
    while (child != nullptr) {
        xmlNode* next = child->next;
        if (isElement(*child, "item") && versionOf(*child) == version)
            removeItem(*child);
        child = next;
    }
}

} // namespace

AppcastEditor::AppcastEditor(std::string appName, URL baseURL, bool shouldUseCacheBuster, const Clock& clock)
    : appName(std::move(appName)), baseURL(std::move(baseURL)), shouldUseCacheBuster(shouldUseCacheBuster),
      clock(clock) {}

std::string AppcastEditor::upsertItem(const AppcastItem& item, std::optional<ByteView> document,
                                      Description description) const {
    const XMLDocument feed = document ? parseXML(*document) : makeFeed(appName, baseURL);
    xmlNode& channel = findChannel(*feed);
    const ChannelLayout layout(channel);
    FeedItemContext context{.channel = channel, .link = baseURL};
    if (shouldUseCacheBuster)
        context.cacheBuster = clock.now();
    if (description == Description::asStored)
        context.storedDescription = takeStoredDescription(channel, item);
    removeItems(channel, item.version);
    DetachedNode element = makeItemElement(item, std::move(context));
    layout.indentChildren(*element);
    layout.insertItem(channel, std::move(element));
    return serializedXML(*feed);
}

std::string AppcastEditor::deleteItem(std::int64_t version, const std::string& shortVersionString,
                                      ByteView document) const {
    const XMLDocument feed = parseXML(document);
    const xmlNode& channel = findChannel(*feed);
    for (xmlNode* child = channel.children; child != nullptr; child = child->next)
        if (isElement(*child, "item") && hasVersions(*child, version, shortVersionString)) {
            removeItem(*child);
            return serializedXML(*feed);
        }
    throw AppcastEditorError(AppcastEditorError::ItemNotFound{version, shortVersionString});
}

std::vector<AppcastItem> AppcastEditor::parseItems(ByteView document) const {
    const XMLDocument feed = parseXML(document);
    std::vector<AppcastItem> items;
    for (const xmlNode* child = findChannel(*feed).children; child != nullptr; child = child->next)
        if (isElement(*child, "item"))
            if (auto item = readItemElement(*child))
                items.push_back(std::move(*item));
    return items;
}

} // namespace halvo
