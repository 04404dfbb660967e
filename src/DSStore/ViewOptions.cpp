#include <DSStore/DSStore.h>

#include "Fail.h"
#include "RecordPayloads.h"

// The typed helpers of DSStore: well-known records by what they mean.
namespace halvo {

using namespace dsstore;

namespace {

/// The record in which newer systems keep a bookmark of the background picture.
constexpr RecordType pictureBookmark{FourCC("pBBk")};

template<typename Type>
std::optional<Type> held(const Record* record) {
    const Type* value = record ? record->value.as<Type>() : nullptr;
    return value ? std::optional(*value) : std::nullopt;
}

} // namespace

std::optional<std::string> DSStore::comment(const std::string& filename) const {
    return held<std::string>(record(filename, RecordType::spotlightComment));
}

void DSStore::setComment(std::string comment, const std::string& filename) {
    add({filename, RecordType::spotlightComment, Value{std::move(comment)}});
}

void DSStore::removeComment(const std::string& filename) { remove(filename, RecordType::spotlightComment); }

std::optional<FourCC> DSStore::viewStyle() const {
    return held<FourCC>(record(directoryName, RecordType::viewStyle));
}

std::optional<ViewStyle> DSStore::viewStyleValue() const {
    const std::optional<FourCC> code = viewStyle();
    return code ? dsstore::viewStyle(*code) : std::nullopt;
}

void DSStore::setViewStyle(FourCC style) { add({directoryName, RecordType::viewStyle, Value{style}}); }

void DSStore::setViewStyle(ViewStyle style) { setViewStyle(fourCC(style)); }

std::optional<FourCC> DSStore::viewSort() const {
    return held<FourCC>(record(directoryName, RecordType::viewSortVersion));
}

std::optional<ViewSort> DSStore::viewSortValue() const {
    const std::optional<FourCC> code = viewSort();
    return code ? dsstore::viewSort(*code) : std::nullopt;
}

void DSStore::setViewSort(ViewSort sort) {
    add({directoryName, RecordType::viewSortVersion, Value{fourCC(sort)}});
}

std::optional<IconPosition> DSStore::iconPosition(const std::string& filename) const {
    const Record* found = record(filename, RecordType::iconLocation);
    return found ? found->iconPosition() : std::nullopt;
}

void DSStore::setIconPosition(const std::string& filename, std::int64_t x, std::int64_t y) {
    add({filename, RecordType::iconLocation, Value{iconLocationPayload({.x = x, .y = y}, filename)}});
}

void DSStore::setIconPositions(const std::vector<IconPlacement>& placements) {
    for (const IconPlacement& placement : placements) // before the first change
        static_cast<void>(iconLocationPayload({.x = placement.x, .y = placement.y}, placement.filename));
    for (const IconPlacement& placement : placements)
        setIconPosition(placement.filename, placement.x, placement.y);
}

void DSStore::setIconPositions(const std::map<std::string, IconPosition>& positions) {
    std::vector<IconPlacement> placements;
    for (const auto& [filename, position] : positions)
        placements.push_back({filename, position.x, position.y});
    setIconPositions(placements);
}

std::optional<WindowBounds> DSStore::windowBounds() const {
    const Record* found = record(directoryName, RecordType::finderWindowInfo);
    return found ? found->windowBounds() : std::nullopt;
}

void DSStore::setWindowBounds(const WindowBounds& bounds) {
    add({directoryName, RecordType::finderWindowInfo, Value{windowInfoPayload(bounds)}});
}

std::optional<BackgroundType> DSStore::background() const {
    const Record* found = record(directoryName, RecordType::background);
    return found ? found->backgroundType() : std::nullopt;
}

void DSStore::setBackground(const BackgroundType& background) {
    add({directoryName, RecordType::background, Value{backgroundPayload(background)}});
}

std::optional<Bytes> DSStore::backgroundPictureAliasData() const {
    return held<Bytes>(record(directoryName, RecordType::backgroundPicture));
}

void DSStore::setBackgroundPicture(Bytes aliasData) {
    if (aliasData.size() > UINT32_MAX)
        failWriting("Alias data is too large");
    const auto length = static_cast<std::uint32_t>(aliasData.size());
    add({directoryName, RecordType::background, Value{pictureBackgroundPayload(length)}});
    add({directoryName, RecordType::backgroundPicture, Value{std::move(aliasData)}});
    remove(directoryName, pictureBookmark);
}

template<typename Settings>
std::optional<Settings> DSStore::settings(RecordType type) const {
    const Record* found = record(directoryName, type);
    const PlistValue* plist = found ? found->value.as<PlistValue>() : nullptr;
    const PropertyListDictionary* dictionary = plist ? plist->as<PropertyListDictionary>() : nullptr;
    return dictionary ? std::optional(Settings::fromDictionary(*dictionary)) : std::nullopt;
}

std::optional<WindowSettings> DSStore::windowSettings() const {
    return settings<WindowSettings>(RecordType::browserWindowSettings);
}

void DSStore::setWindowSettings(const WindowSettings& settings) {
    add({directoryName, RecordType::browserWindowSettings, Value{PlistValue(settings.dictionary())}});
}

std::optional<IconViewSettings> DSStore::iconViewSettings() const {
    return settings<IconViewSettings>(RecordType::iconViewProperties);
}

void DSStore::setIconViewSettings(const IconViewSettings& settings) {
    add({directoryName, RecordType::iconViewProperties, Value{PlistValue(settings.dictionary())}});
}

std::optional<ListViewSettings> DSStore::listViewSettings(RecordType type) const {
    return settings<ListViewSettings>(type);
}

void DSStore::setListViewSettings(const ListViewSettings& settings, RecordType type) {
    add({directoryName, type, Value{PlistValue(settings.dictionary())}});
}

} // namespace halvo
