#pragma once

#include <Platform/PropertyList.h>

namespace halvo {

// The two forms of a property list. Both throw PropertyListError.
PropertyList parseBinaryPropertyList(ByteView bytes, const PropertyList::Limits& limits);
PropertyList parseXMLPropertyList(ByteView bytes, const PropertyList::Limits& limits);
Bytes writeBinaryPropertyList(const PropertyList& list);
Bytes writeXMLPropertyList(const PropertyList& list);

/// What is left of the limits while one list is read.
class PropertyListBudget {
public:
    explicit PropertyListBudget(const PropertyList::Limits& limits) : left(limits) {}

    /// Counts one value with `size` bytes of text or data. Throws PropertyListError when there is none left.
    void take(std::size_t size) {
        if (left.values == 0 || size > left.contentSize)
            throw PropertyListError("The property list holds more than Halvo reads.");
        --left.values;
        left.contentSize -= size;
    }

    static void checkDepth(std::size_t depth) {
        if (depth > PropertyList::maxDepth)
            throw PropertyListError("The property list is nested too deeply.");
    }

private:
    PropertyList::Limits left;
};

} // namespace halvo
