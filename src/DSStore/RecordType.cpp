#include <DSStore/RecordType.h>

#include <algorithm>
#include <array>

namespace halvo::dsstore {
namespace {

struct KnownType {
    RecordType type;
    std::string_view displayName;
};

constexpr std::array knownTypes{
    KnownType{RecordType::background, "Background"},
    KnownType{RecordType::iconViewOptionsFlag, "Icon View Options Flag"},
    KnownType{RecordType::iconLocation, "Icon Location"},
    KnownType{RecordType::listViewOptionsFlag, "List View Options Flag"},
    KnownType{RecordType::browserWindowSettings, "Browser Window Settings"},
    KnownType{RecordType::textClipping, "Text Clipping"},
    KnownType{RecordType::spotlightComment, "Spotlight Comment"},
    KnownType{RecordType::desktopIconLocation, "Desktop Icon Location"},
    KnownType{RecordType::subdirectoryDisclosed, "Subdirectory Disclosed"},
    KnownType{RecordType::extensionHidden, "Extension Hidden"},
    KnownType{RecordType::finderWindowInfo, "Finder Window Info"},
    KnownType{RecordType::finderWindowSidebarWidth, "Finder Window Sidebar Width"},
    KnownType{RecordType::finderWindowVerticalHeight, "Finder Window Vertical Height"},
    KnownType{RecordType::galleryViewProperties, "Gallery View Properties"},
    KnownType{RecordType::group, "Group"},
    KnownType{RecordType::iconViewGridOffset, "Icon View Grid Offset"},
    KnownType{RecordType::iconViewScrollPosition, "Icon View Scroll Position"},
    KnownType{RecordType::iconViewOptions, "Icon View Options"},
    KnownType{RecordType::iconViewProperties, "Icon View Properties"},
    KnownType{RecordType::iconViewTextSize, "Icon View Text Size"},
    KnownType{RecordType::info, "Info"},
    KnownType{RecordType::logicalSize, "Logical Size"},
    KnownType{RecordType::logicalSizeLegacy, "Logical Size (Legacy)"},
    KnownType{RecordType::listViewScrollPosition, "List View Scroll Position"},
    KnownType{RecordType::listViewOptions, "List View Options"},
    KnownType{RecordType::listViewColumns, "List View Columns"},
    KnownType{RecordType::listViewProperties, "List View Properties"},
    KnownType{RecordType::listViewPropertiesAlternate, "List View Properties (Alternate)"},
    KnownType{RecordType::listViewTextSize, "List View Text Size"},
    KnownType{RecordType::modificationDate, "Modification Date"},
    KnownType{RecordType::modificationDateAlternate, "Modification Date (Alternate)"},
    KnownType{RecordType::physicalSize, "Physical Size"},
    KnownType{RecordType::physicalSizeLegacy, "Physical Size (Legacy)"},
    KnownType{RecordType::backgroundPicture, "Background Picture"},
    KnownType{RecordType::trashPutBackLocation, "Trash Put Back Location"},
    KnownType{RecordType::trashPutBackName, "Trash Put Back Name"},
    KnownType{RecordType::viewSortVersion, "View Sort Version"},
    KnownType{RecordType::viewStyle, "View Style"},
};

bool isASCII(std::string_view text) {
    return std::ranges::all_of(text,
                               [](char character) { return static_cast<std::uint8_t>(character) < 128; });
}

const KnownType* find(RecordType type) {
    const auto found = std::ranges::find(knownTypes, type, &KnownType::type);
    return found == knownTypes.end() ? nullptr : &*found;
}

} // namespace

std::optional<FourCC> FourCC::parse(std::string_view text) {
    if (text.size() != 4 || !isASCII(text))
        return std::nullopt;
    FourCC code;
    for (const char character : text)
        code.rawValue = code.rawValue << 8 | static_cast<std::uint8_t>(character);
    return code;
}

std::string FourCC::stringValue() const {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += static_cast<char>(rawValue >> shift & 0xFF);
    return isASCII(text) ? text : "????";
}

bool RecordType::isCustom() const { return find(*this) == nullptr; }

std::string RecordType::displayName() const {
    const KnownType* known = find(*this);
    return known ? std::string(known->displayName) : typeCode.stringValue();
}

} // namespace halvo::dsstore
