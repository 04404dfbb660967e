#pragma once

#include <DSStore/FourCC.h>

namespace halvo::dsstore {

/// What a record says about its file: one of the known kinds below, or any other code ("custom").
class RecordType {
public:
    constexpr explicit RecordType(FourCC code) : typeCode(code) {}

    constexpr FourCC code() const { return typeCode; }
    /// None of the kinds named below.
    bool isCustom() const;
    /// "Icon Location"; for a custom type the code itself.
    std::string displayName() const;

    constexpr auto operator<=>(const RecordType&) const = default;

    static const RecordType background;
    static const RecordType iconViewOptionsFlag;
    static const RecordType iconLocation;
    static const RecordType listViewOptionsFlag;
    static const RecordType browserWindowSettings;
    static const RecordType textClipping;
    static const RecordType spotlightComment;
    static const RecordType desktopIconLocation;
    static const RecordType subdirectoryDisclosed;
    static const RecordType extensionHidden;
    static const RecordType finderWindowInfo;
    static const RecordType finderWindowSidebarWidth;
    static const RecordType finderWindowVerticalHeight;
    static const RecordType galleryViewProperties;
    static const RecordType group;
    static const RecordType iconViewGridOffset;
    static const RecordType iconViewScrollPosition;
    static const RecordType iconViewOptions;
    static const RecordType iconViewProperties;
    static const RecordType iconViewTextSize;
    static const RecordType info;
    static const RecordType logicalSize;
    static const RecordType logicalSizeLegacy;
    static const RecordType listViewScrollPosition;
    static const RecordType listViewOptions;
    static const RecordType listViewColumns;
    static const RecordType listViewProperties;
    static const RecordType listViewPropertiesAlternate;
    static const RecordType listViewTextSize;
    static const RecordType modificationDate;
    static const RecordType modificationDateAlternate;
    static const RecordType physicalSize;
    static const RecordType physicalSizeLegacy;
    static const RecordType backgroundPicture;
    static const RecordType trashPutBackLocation;
    static const RecordType trashPutBackName;
    static const RecordType viewSortVersion;
    static const RecordType viewStyle;

private:
    FourCC typeCode;
};

inline constexpr RecordType RecordType::background{FourCC("BKGD")};
inline constexpr RecordType RecordType::iconViewOptionsFlag{FourCC("ICVO")};
inline constexpr RecordType RecordType::iconLocation{FourCC("Iloc")};
inline constexpr RecordType RecordType::listViewOptionsFlag{FourCC("LSVO")};
inline constexpr RecordType RecordType::browserWindowSettings{FourCC("bwsp")};
inline constexpr RecordType RecordType::textClipping{FourCC("clip")};
inline constexpr RecordType RecordType::spotlightComment{FourCC("cmmt")};
inline constexpr RecordType RecordType::desktopIconLocation{FourCC("dilc")};
inline constexpr RecordType RecordType::subdirectoryDisclosed{FourCC("dscl")};
inline constexpr RecordType RecordType::extensionHidden{FourCC("extn")};
inline constexpr RecordType RecordType::finderWindowInfo{FourCC("fwi0")};
inline constexpr RecordType RecordType::finderWindowSidebarWidth{FourCC("fwsw")};
inline constexpr RecordType RecordType::finderWindowVerticalHeight{FourCC("fwvh")};
inline constexpr RecordType RecordType::galleryViewProperties{FourCC("glvp")};
inline constexpr RecordType RecordType::group{FourCC("GRP0")};
inline constexpr RecordType RecordType::iconViewGridOffset{FourCC("icgo")};
inline constexpr RecordType RecordType::iconViewScrollPosition{FourCC("icsp")};
inline constexpr RecordType RecordType::iconViewOptions{FourCC("icvo")};
inline constexpr RecordType RecordType::iconViewProperties{FourCC("icvp")};
inline constexpr RecordType RecordType::iconViewTextSize{FourCC("icvt")};
inline constexpr RecordType RecordType::info{FourCC("info")};
inline constexpr RecordType RecordType::logicalSize{FourCC("logS")};
inline constexpr RecordType RecordType::logicalSizeLegacy{FourCC("lg1S")};
inline constexpr RecordType RecordType::listViewScrollPosition{FourCC("lssp")};
inline constexpr RecordType RecordType::listViewOptions{FourCC("lsvo")};
inline constexpr RecordType RecordType::listViewColumns{FourCC("lsvC")};
inline constexpr RecordType RecordType::listViewProperties{FourCC("lsvp")};
inline constexpr RecordType RecordType::listViewPropertiesAlternate{FourCC("lsvP")};
inline constexpr RecordType RecordType::listViewTextSize{FourCC("lsvt")};
inline constexpr RecordType RecordType::modificationDate{FourCC("modD")};
inline constexpr RecordType RecordType::modificationDateAlternate{FourCC("moDD")};
inline constexpr RecordType RecordType::physicalSize{FourCC("phyS")};
inline constexpr RecordType RecordType::physicalSizeLegacy{FourCC("ph1S")};
inline constexpr RecordType RecordType::backgroundPicture{FourCC("pict")};
inline constexpr RecordType RecordType::trashPutBackLocation{FourCC("ptbL")};
inline constexpr RecordType RecordType::trashPutBackName{FourCC("ptbN")};
inline constexpr RecordType RecordType::viewSortVersion{FourCC("vSrn")};
inline constexpr RecordType RecordType::viewStyle{FourCC("vstl")};

} // namespace halvo::dsstore
