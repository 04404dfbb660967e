#include <HalvoDMG/DSStoreWriter.h>

#include <algorithm>

#include <fmt/format.h>

namespace halvo {
namespace {

using dsstore::directoryName;
using dsstore::PlistValue;

constexpr const char* backgroundFolder = ".background";
constexpr const char* storeName = ".DS_Store";

PropertyListDictionary windowSettings(const DMGConfiguration& configuration) {
    const std::string bounds =
        fmt::format("{{{{{}, {}}}, {{{}, {}}}}}", configuration.windowX, configuration.windowY,
                    configuration.windowWidth, configuration.windowHeight);
    return {{"ContainerShowSidebar", false}, {"PreviewPaneVisibility", false},  {"ShowPathbar", false},
            {"ShowSidebar", false},          {"ShowStatusBar", false},          {"ShowTabView", false},
            {"ShowToolbar", false},          {"SidebarWidth", std::int64_t(0)}, {"WindowBounds", bounds}};
}

PropertyListDictionary iconViewSettings(const DMGConfiguration& configuration,
                                        const std::optional<Bytes>& backgroundAlias) {
    constexpr std::int64_t noBackground = 0;
    constexpr std::int64_t pictureBackground = 2;
    PropertyListDictionary settings{{"arrangeBy", "none"},
                                    {"backgroundColorBlue", 1.0},
                                    {"backgroundColorGreen", 1.0},
                                    {"backgroundColorRed", 1.0},
                                    {"backgroundType", backgroundAlias ? pictureBackground : noBackground},
                                    {"gridOffsetX", 0.0},
                                    {"gridOffsetY", 0.0},
                                    {"gridSpacing", 100.0},
                                    {"iconSize", static_cast<double>(configuration.iconSize)},
                                    {"labelOnBottom", true},
                                    {"scrollPositionX", 0.0},
                                    {"scrollPositionY", 0.0},
                                    {"showIconPreview", true},
                                    {"showItemInfo", false},
                                    {"textSize", static_cast<double>(configuration.textSize)},
                                    {"viewOptionsVersion", std::int64_t(1)}};
    if (backgroundAlias)
        settings.emplace("backgroundImageAlias", *backgroundAlias);
    return settings;
}

/// Far beyond any position that a record can hold, and safe to calculate with.
std::int64_t bounded(std::int64_t length) {
    constexpr std::int64_t limit = std::int64_t(1) << 40;
    return std::clamp(length, -limit, limit);
}

/// Puts what a person need not see below the visible part of the window, one under the other: people who
/// have the Finder show hidden files would see them across the background.
void parkHiddenItems(DSStore& store, const DMGConfiguration& configuration) {
    std::int64_t y = bounded(configuration.windowHeight);
    for (const char* name : {backgroundFolder, ".VolumeIcon.icns", ".fseventsd", ".Trashes", storeName}) {
        y += bounded(configuration.iconSize);
        store.setIconPosition(name, configuration.windowWidth / 2, y);
    }
}

} // namespace

DSStore finderLayout(const DMGConfiguration& configuration, const std::string& appName,
                     const std::optional<Bytes>& backgroundAlias) {
    using Type = DSStore::RecordType;
    using Value = DSStore::Value;
    constexpr Type iconViewMarker{DSStore::FourCC("icvl")};
    DSStore store;
    store.add({directoryName, Type::viewSortVersion, Value{std::uint32_t(1)}});
    store.add({directoryName, Type::browserWindowSettings, Value{PlistValue(windowSettings(configuration))}});
    store.add({directoryName, Type::iconViewProperties,
               Value{PlistValue(iconViewSettings(configuration, backgroundAlias))}});
    store.add({directoryName, iconViewMarker, Value{fourCC(dsstore::ViewStyle::icon)}});
    store.setIconPosition(appName, configuration.appIconX, configuration.appIconY);
    store.setIconPosition("Applications", configuration.applicationsLinkX, configuration.applicationsLinkY);
    parkHiddenItems(store, configuration);
    return store;
}

Bytes finderLayoutFile(const DMGConfiguration& configuration, const std::string& appName,
                       const std::optional<Bytes>& backgroundAlias) {
    try {
        return finderLayout(configuration, appName, backgroundAlias).serialize();
    } catch (const DSStore::Error& error) {
        throw DMGCreationError(DMGCreationError::DSStoreWriteFailed{error.description()});
    }
}

void DSStoreWriter::write(const std::filesystem::path& mountPoint, const std::string& appName,
                          const std::optional<std::string>& backgroundFilename,
                          const DMGConfiguration& configuration) const {
    std::optional<Bytes> alias;
    if (backgroundFilename)
        alias = aliases.makeFileAlias(mountPoint, mountPoint / backgroundFolder / *backgroundFilename);
    try {
        finderLayout(configuration, appName, alias).write(mountPoint / storeName);
    } catch (const DSStore::Error& error) {
        throw DMGCreationError(DMGCreationError::DSStoreWriteFailed{error.description()});
    }
}

} // namespace halvo
