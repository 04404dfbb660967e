#pragma once

#include <DiskImage/VolumeItem.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace halvo {

/// The number by which a volume's catalog knows the file, folder or link; what macOS gives as its file ID.
using CatalogID = std::uint32_t;

constexpr CatalogID rootFolderID = 2;

/// A name as a volume stores it, in UTF-8: decomposed as HFS Plus wants it, with '/' for ':'. Text that is
/// not UTF-8 is repaired first.
std::string storedVolumeText(std::string_view name);

/// Everything that a volume will hold, in the order and with the numbers that its catalog gives it.
class VolumeContents {
public:
    struct Options {
        std::string name{}; ///< of the volume
        Date creationDate{};
        std::optional<Date> latestDate{}; ///< later dates become this one
        bool hasCustomIcon = false;       ///< the file `.VolumeIcon.icns` in the root is the icon
    };
    /// One item in the catalog.
    struct Entry {
        VolumeItem item{};     ///< its children are entries of their own
        std::u16string name{}; ///< as stored
        CatalogID id = 0;
        std::size_t parent = 0;     ///< index; the root's is the root
        std::size_t firstChild = 0; ///< index; the children follow each other in catalog order
        std::size_t childCount = 0;
    };

    /// Takes what lies in the root of the volume. Throws DiskImageError (`InvalidName`, `EqualNames`).
    VolumeContents(Options options, std::vector<VolumeItem> items);

    const Options& options() const { return properties; }
    const std::u16string& storedName() const { return contents.front().name; }
    Date creationDate() const { return dateOf(properties.creationDate); }
    /// The root first.
    const std::vector<Entry>& entries() const { return contents; }
    /// The date that the volume has for it.
    Date dateOf(Date date) const { return std::min(date, properties.latestDate.value_or(date)); }

    /// The number of an item by its path, such as ".background/picture.png"; it must be there.
    CatalogID id(std::string_view path) const { return contents[find(path)].id; }
    /// Gives a file that is not on disk its content, which may depend on the numbers.
    void setContent(std::string_view path, Bytes content) {
        contents[find(path)].item.content = std::move(content);
    }

private:
    void addChildren(std::size_t folder);
    std::size_t find(std::string_view path) const;
    std::string pathOf(std::size_t index) const;

    Options properties;
    std::vector<Entry> contents;
};

} // namespace halvo
