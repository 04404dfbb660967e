#pragma once

#include "XMLNodes.h"

#include <Appcast/AppcastItem.h>

#include <Base/Date.h>

#include <optional>

namespace halvo {

/// What an item element gets besides the item's own fields.
struct FeedItemContext {
    xmlNode& channel; ///< where the element will stand
    URL link{};
    std::optional<Date> cacheBuster{}; ///< present: the moment that the enclosure's address is marked with
    /// The `description` to use in place of the notes; null: none at all.
    std::optional<DetachedNode> storedDescription{};
};

/// The element of an item, without white space. Declares the prefix `sparkle` on the document's root
/// where nothing binds it, and on the element where it is bound to something else.
DetachedNode makeItemElement(const AppcastItem& item, FeedItemContext context);

/// Absent when a required field is missing or does not read.
std::optional<AppcastItem> readItemElement(const xmlNode& element);

/// The integer in the first `sparkle:version`; absent when there is none.
std::optional<std::int64_t> versionOf(const xmlNode& element);
bool hasVersions(const xmlNode& element, std::int64_t version, const std::string& shortVersionString);

} // namespace halvo
