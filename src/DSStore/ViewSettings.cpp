#include <DSStore/ViewSettings.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include <fmt/format.h>

namespace halvo::dsstore {
namespace {

template<typename Name>
struct NamedCode {
    Name name;
    FourCC code;
};

constexpr NamedCode<ViewStyle> viewStyles[] = {{ViewStyle::icon, FourCC("icnv")},
                                               {ViewStyle::list, FourCC("Nlsv")},
                                               {ViewStyle::column, FourCC("clmv")},
                                               {ViewStyle::gallery, FourCC("Flwv")}};
constexpr NamedCode<ViewSort> viewSorts[] = {
    {ViewSort::none, FourCC("none")},        {ViewSort::name, FourCC("name")},
    {ViewSort::kind, FourCC("kind")},        {ViewSort::dateModified, FourCC("modd")},
    {ViewSort::dateCreated, FourCC("crea")}, {ViewSort::size, FourCC("size")},
    {ViewSort::label, FourCC("labl")}};

template<typename Name, std::size_t count>
FourCC codeOf(const NamedCode<Name> (&table)[count], Name name) {
    return std::ranges::find(table, name, &NamedCode<Name>::name)->code;
}

template<typename Name, std::size_t count>
std::optional<Name> nameOf(const NamedCode<Name> (&table)[count], FourCC code) {
    const auto found = std::ranges::find(table, code, &NamedCode<Name>::code);
    return found == std::end(table) ? std::nullopt : std::optional(found->name);
}

std::optional<std::int64_t> wholeNumber(double number) {
    constexpr double limit = 9223372036854775808.0; // 2^63: the first that does not fit
    if (std::trunc(number) != number || number < -limit || number >= limit)
        return std::nullopt;
    return static_cast<std::int64_t>(number);
}

void assign(const PlistValue& value, std::optional<bool>& field) {
    if (const bool* held = value.as<bool>())
        field = *held;
}

void assign(const PlistValue& value, std::optional<double>& field) {
    if (const double* held = value.as<double>())
        field = *held;
    else if (const std::int64_t* whole = value.as<std::int64_t>())
        field = static_cast<double>(*whole);
}

void assign(const PlistValue& value, std::optional<std::int64_t>& field) {
    if (const std::int64_t* held = value.as<std::int64_t>())
        field = *held;
    else if (const double* number = value.as<double>()) // Finder writes sizes of text and icons like this
        field = wholeNumber(*number);
}

void assign(const PlistValue& value, std::optional<std::string>& field) {
    if (const std::string* held = value.as<std::string>())
        field = *held;
}

void assign(const PlistValue& value, std::optional<PlistValue>& field) { field = value; }

void assign(const PlistValue& value, std::vector<std::string>& field) {
    const PropertyListArray* array = value.as<PropertyListArray>();
    if (!array || !std::ranges::all_of(*array, [](const PlistValue& item) { return item.as<std::string>(); }))
        return;
    for (const PlistValue& item : *array)
        field.push_back(*item.as<std::string>());
}

template<typename Type>
bool isSet(const std::optional<Type>& field) {
    return field.has_value();
}
bool isSet(const std::vector<std::string>& field) { return !field.empty(); }

PlistValue valueOf(const std::optional<PlistValue>& field) { return *field; }
template<typename Type>
PlistValue valueOf(const std::optional<Type>& field) {
    return PlistValue(PlistValue::Value(*field));
}
PlistValue valueOf(const std::vector<std::string>& field) {
    return PropertyListArray(field.begin(), field.end());
}

/// The keys of each kind of settings: `visit(key, field)` for every one.
template<typename Settings, typename Visit>
requires std::same_as<std::remove_const_t<Settings>, WindowSettings>
void forEachField(Settings& settings, Visit visit) {
    visit("WindowBounds", settings.windowBounds);
    visit("SidebarWidth", settings.sidebarWidth);
    visit("ShowSidebar", settings.showSidebar);
    visit("ShowToolbar", settings.showToolbar);
    visit("ShowStatusBar", settings.showStatusBar);
    visit("ShowPathbar", settings.showPathBar);
    visit("ViewStyle", settings.viewStyle);
    visit("TargetURL", settings.targetURL);
    visit("TargetPath", settings.targetPath);
}

template<typename Settings, typename Visit>
requires std::same_as<std::remove_const_t<Settings>, IconViewSettings>
void forEachField(Settings& settings, Visit visit) {
    visit("showIconPreview", settings.showIconPreview);
    visit("showItemInfo", settings.showItemInfo);
    visit("labelOnBottom", settings.labelOnBottom);
    visit("scrollPositionX", settings.scrollPositionX);
    visit("scrollPositionY", settings.scrollPositionY);
    visit("gridOffsetX", settings.gridOffsetX);
    visit("gridOffsetY", settings.gridOffsetY);
    visit("textSize", settings.textSize);
    visit("iconSize", settings.iconSize);
    visit("gridSpacing", settings.gridSpacing);
    visit("viewOptionsVersion", settings.viewOptionsVersion);
    visit("arrangeBy", settings.arrangeBy);
    visit("backgroundType", settings.backgroundType);
    visit("backgroundColorRed", settings.backgroundColorRed);
    visit("backgroundColorGreen", settings.backgroundColorGreen);
    visit("backgroundColorBlue", settings.backgroundColorBlue);
}

template<typename Settings, typename Visit>
requires std::same_as<std::remove_const_t<Settings>, ListViewSettings>
void forEachField(Settings& settings, Visit visit) {
    visit("showIconPreview", settings.showIconPreview);
    visit("useRelativeDates", settings.useRelativeDates);
    visit("calculateAllSizes", settings.calculateAllSizes);
    visit("scrollPositionX", settings.scrollPositionX);
    visit("scrollPositionY", settings.scrollPositionY);
    visit("textSize", settings.textSize);
    visit("iconSize", settings.iconSize);
    visit("viewOptionsVersion", settings.viewOptionsVersion);
    visit("sortColumn", settings.sortColumn);
    visit("columns", settings.columns);
}

template<typename Settings>
Settings readSettings(const PropertyListDictionary& dictionary) {
    Settings settings;
    settings.others = dictionary;
    forEachField(settings, [&](const char* key, auto& field) {
        if (const auto entry = dictionary.find(key); entry != dictionary.end())
            assign(entry->second, field);
        if (isSet(field))
            settings.others.erase(key);
    });
    return settings;
}

template<typename Settings>
PropertyListDictionary writeSettings(const Settings& settings) {
    PropertyListDictionary dictionary = settings.others;
    forEachField(settings, [&](const char* key, const auto& field) {
        if (isSet(field))
            dictionary.insert_or_assign(key, valueOf(field));
    });
    return dictionary;
}

} // namespace

FourCC fourCC(ViewStyle style) { return codeOf(viewStyles, style); }
std::optional<ViewStyle> viewStyle(FourCC code) { return nameOf(viewStyles, code); }
FourCC fourCC(ViewSort sort) { return codeOf(viewSorts, sort); }
std::optional<ViewSort> viewSort(FourCC code) { return nameOf(viewSorts, code); }

std::optional<WindowFrame> WindowFrame::parse(std::string_view text) {
    std::array<double, 4> numbers{};
    for (double& number : numbers) {
        text.remove_prefix(std::min(text.find_first_not_of("{}, \t\r\n"), text.size()));
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc() || !std::isfinite(number))
            return std::nullopt;
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    }
    return WindowFrame{numbers[0], numbers[1], numbers[2], numbers[3]};
}

std::string WindowFrame::stringValue() const {
    return fmt::format("{{{{{:.15g}, {:.15g}}}, {{{:.15g}, {:.15g}}}}}", originX, originY, width, height);
}

std::optional<WindowFrame> WindowSettings::windowBoundsValue() const {
    return windowBounds ? WindowFrame::parse(*windowBounds) : std::nullopt;
}

void WindowSettings::setWindowBoundsValue(const std::optional<WindowFrame>& frame) {
    windowBounds = frame ? std::optional(frame->stringValue()) : std::nullopt;
}

WindowSettings WindowSettings::fromDictionary(const PropertyListDictionary& dictionary) {
    return readSettings<WindowSettings>(dictionary);
}
PropertyListDictionary WindowSettings::dictionary() const { return writeSettings(*this); }

IconViewSettings IconViewSettings::fromDictionary(const PropertyListDictionary& dictionary) {
    return readSettings<IconViewSettings>(dictionary);
}
PropertyListDictionary IconViewSettings::dictionary() const { return writeSettings(*this); }

ListViewSettings ListViewSettings::fromDictionary(const PropertyListDictionary& dictionary) {
    return readSettings<ListViewSettings>(dictionary);
}
PropertyListDictionary ListViewSettings::dictionary() const { return writeSettings(*this); }

} // namespace halvo::dsstore
