#pragma once

#include <Platform/PropertyList.h>

namespace halvo {

// The two forms of a property list. Both throw PropertyListError.
PropertyList parseBinaryPropertyList(ByteView bytes);
PropertyList parseXMLPropertyList(ByteView bytes);
Bytes writeBinaryPropertyList(const PropertyList& list);
Bytes writeXMLPropertyList(const PropertyList& list);

/// What is left of the limits while one list is read.
class PropertyListBudget {
public:
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
    std::size_t values = PropertyList::maxValueCount;
    std::size_t bytes = PropertyList::maxInputSize;
};

} // namespace halvo
