#include <Base/PropertyList.h>

#include "PropertyListForms.h"

namespace halvo {
namespace {

constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view utf16Marks[] = {"\xFE\xFF", "\xFF\xFE"};

/// Whether the first character is "<", as far as one can tell without decoding.
bool looksLikeXML(std::string_view text) {
    for (const std::string_view mark : utf16Marks)
        if (text.starts_with(mark))
            return true;
    if (text.starts_with(utf8Mark))
        text.remove_prefix(utf8Mark.size());
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    return first != std::string_view::npos && text[first] == '<';
}

} // namespace

PropertyList PropertyList::parse(ByteView bytes, std::size_t maxContentSize) {
    if (bytes.empty())
        throw PropertyListError("The property list is empty.");
    if (bytes.size() > maxInputSize)
        throw PropertyListError("The property list is larger than 64 MB.");
    if (viewText(bytes).starts_with("bplist"))
        return parseBinaryPropertyList(bytes, maxContentSize);
    if (looksLikeXML(viewText(bytes)))
        return parseXMLPropertyList(bytes, maxContentSize);
    throw PropertyListError(
        "This is neither a binary nor an XML property list. Old text property lists and JSON "
        "are not read; on a Mac, `plutil -convert xml1` makes XML of them.");
}

Bytes PropertyList::xml() const { return writeXMLPropertyList(*this); }
Bytes PropertyList::binary() const { return writeBinaryPropertyList(*this); }

const PropertyList* PropertyList::find(const std::string& key) const {
    const auto* dictionary = as<PropertyListDictionary>();
    if (dictionary == nullptr)
        return nullptr;
    const auto entry = dictionary->find(key);
    return entry == dictionary->end() ? nullptr : &entry->second;
}

} // namespace halvo
