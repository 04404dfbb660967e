#pragma once

#include <Base/PropertyList.h>

#include <algorithm>

namespace halvo {

// The two forms of a property list. Both throw PropertyListError.
PropertyList parseBinaryPropertyList(ByteView bytes, std::size_t maxContentSize);
PropertyList parseXMLPropertyList(ByteView bytes, std::size_t maxContentSize);
Bytes writeBinaryPropertyList(const PropertyList& list);
Bytes writeXMLPropertyList(const PropertyList& list);

/// What is left of the limits while one list is read.
class PropertyListBudget {
public:
    /// Every value takes a byte of the input at least, or a reference to it does. A binary list that has more
    /// of them refers to its containers again and again.
    PropertyListBudget(std::size_t inputSize, std::size_t maxContentSize)
        : values(std::min(inputSize, PropertyList::maxValueCount)), bytes(maxContentSize) {}

    /// Counts one value with `size` bytes of text or data. Throws PropertyListError when there is none left.
    void take(std::size_t size) {
        if (values == 0 || size > bytes)
            throw PropertyListError("The property list holds more than Halvo reads.");
        --values;
        bytes -= size;
    }

    static void checkDepth(std::size_t depth) {
        if (depth > PropertyList::maxDepth)
            throw PropertyListError("The property list is nested too deeply.");
    }

private:
    std::size_t values;
    std::size_t bytes;
};

} // namespace halvo
