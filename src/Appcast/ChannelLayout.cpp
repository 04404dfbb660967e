#include "ChannelLayout.h"

#include <new>
#include <optional>
#include <string_view>

namespace halvo {
namespace {

constexpr std::string_view defaultUnit = "    ";

std::string blanksBefore(const xmlNode& node) {
    return node.prev != nullptr && isBlankText(*node.prev) ? textOf(*node.prev) : std::string();
}

/// What follows the last line break; absent without one.
std::optional<std::string> indentation(const std::string& blanks) {
    const std::size_t lineEnd = blanks.rfind('\n');
    return lineEnd == std::string::npos ? std::nullopt : std::optional(blanks.substr(lineEnd + 1));
}

/// What `deeper` adds to `shallower`; absent when it is no deeper line of the same style.
std::optional<std::string> difference(const std::optional<std::string>& deeper,
                                      const std::optional<std::string>& shallower) {
    if (!deeper || !shallower || deeper->size() <= shallower->size() || !deeper->starts_with(*shallower))
        return std::nullopt;
    return deeper->substr(shallower->size());
}

std::optional<std::string> unitInside(const xmlNode& parent, const std::optional<std::string>& own) {
    if (parent.children == nullptr || !isBlankText(*parent.children))
        return std::nullopt;
    return difference(indentation(textOf(*parent.children)), own);
}

} // namespace

ChannelLayout::ChannelLayout(const xmlNode& channel) {
    const xmlNode* item = firstChild(channel, "item");
    const xmlNode* model = item ? item : lastElementChild(channel);
    if (model != nullptr)
        beforeItem = blanksBefore(*model);
    const auto ownIndentation = indentation(beforeItem);
    auto found = item ? unitInside(*item, ownIndentation) : std::nullopt;
    const auto channelIndentation = indentation(blanksBefore(channel));
    if (!found)
        found = difference(ownIndentation, channelIndentation);
    if (!found)
        found = difference(channelIndentation, "");
    const bool usesTabs = beforeItem.ends_with('\t');
    unit = found.value_or(usesTabs ? "\t" : std::string(defaultUnit));
    if (model == nullptr && channel.last != nullptr && isBlankText(*channel.last))
        beforeItem = textOf(*channel.last) + unit;
}

void ChannelLayout::indentChildren(xmlNode& item) const {
    const auto own = indentation(beforeItem);
    if (!own)
        return;
    for (xmlNode* child = item.children; child != nullptr; child = child->next)
        insertBlanksBefore(*child, "\n" + *own + unit);
    appendBlanks(item, "\n" + *own);
}

void ChannelLayout::insertItem(xmlNode& channel, DetachedNode item) const {
    // The white space in front of the next item, or of the channel's end, goes on belonging to that.
    xmlNode* next = firstChild(channel, "item");
    xmlNode* before = next ? next->prev : channel.last;
    xmlNode* place = before != nullptr && isBlankText(*before) ? before : next;
    if ((place ? xmlAddPrevSibling(place, item.get()) : xmlAddChild(&channel, item.get())) == nullptr)
        throw std::bad_alloc();
    xmlNode& added = *item.release(); // the document's from here on
    // White space behind other text would become a part of it, and stay when the item goes.
    if (added.prev == nullptr || added.prev->type != XML_TEXT_NODE)
        insertBlanksBefore(added, beforeItem);
}

void removeItem(xmlNode& item) {
    if (item.prev != nullptr && isBlankText(*item.prev))
        detach(*item.prev);
    xmlUnlinkNode(&item);
    xmlFreeNode(&item);
}

} // namespace halvo
