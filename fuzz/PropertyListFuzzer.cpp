#include <Base/PropertyList.h>

#include <cstdlib>
#include <optional>

namespace {

using namespace halvo;

/// What was read must come back from the binary form byte for byte. Compared as bytes, since a value that is
/// not a number differs from itself.
void checkRoundTrip(const PropertyList& list) {
    const Bytes binary = list.binary();
    if (PropertyList::parse(binary).binary() != binary)
        std::abort();
    Bytes xml;
    try {
        xml = list.xml();
    } catch (const PropertyListError&) {
        return; // a control character
    }
    if (PropertyList::parse(xml).xml() != xml)
        std::abort();
}

std::optional<PropertyList> parseInput(ByteView input) {
    try {
        return PropertyList::parse(input);
    } catch (const PropertyListError&) {
        return std::nullopt;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (const auto list = parseInput(ByteView(data, size)))
        checkRoundTrip(*list);
    return 0;
}
