#pragma once

#include <DSStore/Value.h>

namespace halvo::dsstore {

/// How a folder's window shows its items.
enum class ViewStyle { icon, list, column, gallery };
FourCC fourCC(ViewStyle style); ///< icnv, Nlsv, clmv, Flwv
std::optional<ViewStyle> viewStyle(FourCC code);

/// What items are sorted by.
enum class ViewSort { none, name, kind, dateModified, dateCreated, size, label };
FourCC fourCC(ViewSort sort); ///< none, name, kind, modd, crea, size, labl
std::optional<ViewSort> viewSort(FourCC code);

/// The centre of an icon in points, from the top left corner of the window's content.
struct IconPosition {
    std::int64_t x = 0;
    std::int64_t y = 0;
    bool operator==(const IconPosition&) const = default;
};

struct IconPlacement {
    std::string filename{};
    std::int64_t x = 0;
    std::int64_t y = 0;
    bool operator==(const IconPlacement&) const = default;
};

/// Sides of a window on the screen in points, 0 to 65535 each.
struct WindowBounds {
    std::int64_t top = 0;
    std::int64_t left = 0;
    std::int64_t bottom = 0;
    std::int64_t right = 0;
    std::optional<FourCC> viewStyle{};

    std::int64_t width() const { return right - left; }
    std::int64_t height() const { return bottom - top; }
    bool operator==(const WindowBounds&) const = default;
};

struct DefaultBackground {
    bool operator==(const DefaultBackground&) const = default;
};
struct ColorBackground {
    std::uint16_t red = 0;
    std::uint16_t green = 0;
    std::uint16_t blue = 0;
    bool operator==(const ColorBackground&) const = default;
};
struct PictureBackground {
    bool operator==(const PictureBackground&) const = default;
};
using BackgroundType = std::variant<DefaultBackground, ColorBackground, PictureBackground>;

/// A window's place on the screen in points, as its settings spell it: "{{200, 120}, {600, 400}}".
struct WindowFrame {
    double originX = 0;
    double originY = 0;
    double width = 0;
    double height = 0;

    /// Absent unless the text holds four numbers; braces, commas and blanks between them are passed over.
    static std::optional<WindowFrame> parse(std::string_view text);
    std::string stringValue() const;
    bool operator==(const WindowFrame&) const = default;
};

// The settings below are property lists. A field that is absent has no key in the dictionary; a key whose
// value is of another kind reads as absent. Numbers are read from either form, whole or fractional. `others`
// are the entries that no field holds, such as the alias of a background picture: what was read is written
// again.

/// The window itself ("bwsp").
struct WindowSettings {
    std::optional<std::string> windowBounds{}; ///< see WindowFrame
    std::optional<double> sidebarWidth{};
    std::optional<bool> showSidebar{};
    std::optional<bool> showToolbar{};
    std::optional<bool> showStatusBar{};
    std::optional<bool> showPathBar{};
    std::optional<std::string> viewStyle{};
    std::optional<std::string> targetURL{};
    std::vector<std::string> targetPath{}; ///< no key when empty
    PropertyListDictionary others{};

    std::optional<WindowFrame> windowBoundsValue() const;
    void setWindowBoundsValue(const std::optional<WindowFrame>& frame);

    static WindowSettings fromDictionary(const PropertyListDictionary& dictionary);
    PropertyListDictionary dictionary() const;
    bool operator==(const WindowSettings&) const = default;
};

/// Icon view ("icvp").
struct IconViewSettings {
    std::optional<bool> showIconPreview{};
    std::optional<bool> showItemInfo{};
    std::optional<bool> labelOnBottom{};
    std::optional<double> scrollPositionX{};
    std::optional<double> scrollPositionY{};
    std::optional<double> gridOffsetX{};
    std::optional<double> gridOffsetY{};
    std::optional<std::int64_t> textSize{};
    std::optional<std::int64_t> iconSize{};
    std::optional<double> gridSpacing{};
    std::optional<std::int64_t> viewOptionsVersion{};
    std::optional<std::string> arrangeBy{};
    std::optional<std::int64_t> backgroundType{}; ///< 0 default, 1 colour, 2 picture
    std::optional<double> backgroundColorRed{};   ///< 0 to 1, like the two that follow
    std::optional<double> backgroundColorGreen{};
    std::optional<double> backgroundColorBlue{};
    PropertyListDictionary others{};

    static IconViewSettings fromDictionary(const PropertyListDictionary& dictionary);
    PropertyListDictionary dictionary() const;
    bool operator==(const IconViewSettings&) const = default;
};

/// List view ("lsvp", "lsvP").
struct ListViewSettings {
    std::optional<bool> showIconPreview{};
    std::optional<bool> useRelativeDates{};
    std::optional<bool> calculateAllSizes{};
    std::optional<double> scrollPositionX{};
    std::optional<double> scrollPositionY{};
    std::optional<std::int64_t> textSize{};
    std::optional<std::int64_t> iconSize{};
    std::optional<std::int64_t> viewOptionsVersion{};
    std::optional<std::string> sortColumn{};
    std::optional<PlistValue> columns{}; ///< kept as it stands
    PropertyListDictionary others{};

    static ListViewSettings fromDictionary(const PropertyListDictionary& dictionary);
    PropertyListDictionary dictionary() const;
    bool operator==(const ListViewSettings&) const = default;
};

} // namespace halvo::dsstore
