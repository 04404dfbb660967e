#include <DiskImage/VolumeContents.h>

#include "Names.h"

#include <Base/Text.h>
#include <Base/Unicode.h>
#include <DiskImage/DiskImageError.h>

#include <algorithm>
#include <stdexcept>

namespace halvo {
namespace {

constexpr CatalogID firstUserID = 16; // what is below belongs to the volume itself

std::u16string checkedName(std::string_view name, const std::string& shown) {
    const auto stored = hfsplus::storedName(name);
    const auto refuse = [&](std::string reason) {
        throw DiskImageError(DiskImageError::InvalidName{repairedUTF8(shown), std::move(reason)});
    };
    if (!stored)
        refuse("it is not UTF-8");
    if (stored->empty())
        refuse("it is empty");
    if (stored->size() > hfsplus::longestName)
        refuse("it has more than 255 UTF-16 characters");
    return *stored;
}

} // namespace

std::string storedVolumeText(std::string_view name) {
    return decodeUTF16(hfsplus::storedName(repairedUTF8(name)).value()).value();
}

VolumeContents::VolumeContents(Options options, std::vector<VolumeItem> items)
    : properties(std::move(options)), contents{{.item = {.children = std::move(items)}, .id = rootFolderID}} {
    contents.front().name = checkedName(properties.name, properties.name);
    contents.front().item.date = properties.creationDate;
    for (std::size_t index = 0; index < contents.size(); ++index)
        addChildren(index);
}

void VolumeContents::addChildren(std::size_t folder) {
    std::vector<VolumeItem> items = std::move(contents[folder].item.children);
    std::vector<Entry> children;
    for (VolumeItem& item : items) {
        const std::string name = item.name;
        const std::string shown = folder == 0 ? name : pathOf(folder) + "/" + name;
        children.push_back({.item = std::move(item), .name = checkedName(name, shown), .parent = folder});
    }
    std::ranges::sort(children, [](const Entry& left, const Entry& right) {
        const auto order = hfsplus::compareNames(left.name, right.name);
        return order != 0 ? order < 0 : left.item.name < right.item.name;
    });
    const auto twin = std::ranges::adjacent_find(children, [](const Entry& left, const Entry& right) {
        return hfsplus::compareNames(left.name, right.name) == 0;
    });
    if (twin != children.end())
        throw DiskImageError(DiskImageError::EqualNames{twin->item.name, std::next(twin)->item.name});
    contents[folder].firstChild = contents.size();
    contents[folder].childCount = children.size();
    for (Entry& child : children) {
        child.id = firstUserID - 1 + static_cast<CatalogID>(contents.size());
        contents.push_back(std::move(child));
    }
}

std::string VolumeContents::pathOf(std::size_t index) const {
    const Entry& entry = contents[index];
    return entry.parent == 0 ? entry.item.name : pathOf(entry.parent) + "/" + entry.item.name;
}

std::size_t VolumeContents::find(std::string_view path) const {
    std::size_t place = 0;
    for (const std::string& name : split(path, '/')) {
        const auto first = contents.begin() + static_cast<std::ptrdiff_t>(contents[place].firstChild);
        const auto last = first + static_cast<std::ptrdiff_t>(contents[place].childCount);
        const auto found =
            std::find_if(first, last, [&](const Entry& entry) { return entry.item.name == name; });
        if (found == last)
            throw std::out_of_range("no item " + std::string(path));
        place = static_cast<std::size_t>(found - contents.begin());
    }
    return place;
}

} // namespace halvo
