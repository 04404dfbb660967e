#pragma once

#include "XMLNodes.h"

#include <string>

namespace halvo {

/// How a feed indents, found from what it holds, so that what is added looks like what is there. A feed on
/// one line stays on one line.
class ChannelLayout {
public:
    explicit ChannelLayout(const xmlNode& channel);

    /// Adds the white space inside a new item; its children are there already, without any.
    void indentChildren(xmlNode& item) const;
    /// Puts an item in front of the first one, or behind everything when there is none.
    void insertItem(xmlNode& channel, DetachedNode item) const;

private:
    std::string beforeItem; ///< the white space in front of an item; empty where there is none
    std::string unit;       ///< what one more level adds to a line
};

/// Takes an item out of its channel together with the white space in front of it, and frees both. Nothing
/// else may refer to what is in it.
void removeItem(xmlNode& item);

} // namespace halvo
