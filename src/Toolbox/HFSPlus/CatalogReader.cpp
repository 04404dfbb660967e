#include "CatalogReader.h"

#include "Format.h"
#include "Names.h"

#include <Base/Text.h>
#include <Base/Unicode.h>
#include <HFSPlus/HFSPlusError.h>

#include <algorithm>
#include <map>
#include <optional>
#include <unordered_map>
#include <unordered_set>

namespace halvo::hfsplus {
namespace {

using Kind = VolumeItem::Kind;
using namespace std::string_view_literals;

/// Systems that run this take no longer one.
constexpr std::size_t longestPath = 4096;              ///< bytes
constexpr std::size_t deepestFolder = longestPath / 2; ///< a name and a slash for each level
/// Of all items together: deep folders full of files would fill the memory from a small catalog.
constexpr std::size_t mostPathBytes = std::size_t{256} << 20;
constexpr std::u16string_view hardLinkFolder = u"\0\0\0\0HFS+ Private Data"sv;
constexpr std::u16string_view folderLinkFolder = u".HFS+ Private Directory Data\r"sv;

/// A folder's or file's record with its key.
struct CatalogEntry {
    CatalogID parent = 0;
    std::u16string name{};
    VolumeItem item{};
    CatalogID linkNumber = 0; ///< of a hard link: which of the hidden files it stands for
};

std::u16string readUnits(BinaryReader& reader) {
    const std::size_t length = reader.readUInt16();
    if (length > longestName)
        failDamaged("a name is too long");
    std::u16string units;
    for (std::size_t index = 0; index < length; ++index)
        units += static_cast<char16_t>(reader.readUInt16());
    return units;
}

std::string shownName(std::u16string_view units) {
    std::u16string shown(units);
    std::replace_if(
        shown.begin(), shown.end(), [](char16_t unit) { return unit < 0x20 || unit >= 0xD800; }, u'?');
    return *decodeUTF16(shown);
}

[[noreturn]] void failUnsupported(std::string feature) {
    throw HFSPlusError(HFSPlusError::Unsupported{std::move(feature)});
}

void setPermissions(VolumeItem& item, std::uint16_t mode) {
    const bool isFolder = item.kind == Kind::folder;
    if ((mode & modeKinds) == 0) { // no permissions were ever stored
        item.permissions = isFolder ? 0755 : 0644;
        return;
    }
    const unsigned kind = mode & modeKinds;
    if (kind != (isFolder ? modeFolder : modeFile) && (isFolder || kind != modeLink))
        failUnsupported("a special file");
    if (kind == modeLink)
        item.kind = Kind::link;
    item.permissions = (mode & 0777u) | (isFolder ? 0700u : 0400u);
}

class CatalogReader {
public:
    CatalogReader(const OverflowExtents& overflow, const VolumeBlocks& volume, const UnfoldLimits& limits)
        : overflow(overflow), volume(volume), limits(limits) {}

    void take(BinaryReader key, BinaryReader value);
    CatalogContent finish(bool isJournaled);

private:
    void readItem(CatalogEntry& entry, BinaryReader& value, bool isFolder);
    void findHidden(bool isJournaled);
    const std::string* folderPath(CatalogID folder);
    std::string itemPath(const std::string& folder, std::u16string_view stored);
    void addHardLinks(std::vector<VolumeItem>& items,
                      std::vector<std::pair<std::string, const CatalogEntry*>> links) const;

    const OverflowExtents& overflow;
    const VolumeBlocks& volume;
    const UnfoldLimits& limits;
    std::vector<CatalogEntry> entries{};
    std::unordered_map<CatalogID, std::size_t> indexes{}; ///< by ID, into `entries`
    CatalogID previousParent = 0;
    std::u16string previousName{};
    std::unordered_set<CatalogID> hidden{};
    CatalogID hardLinkFiles = 0; ///< the folder
    /// By ID; without a value what is below a hidden folder.
    std::unordered_map<CatalogID, std::optional<std::string>> folderPaths{};
    bool hasCustomIcon = false;
    std::size_t pathBytes = 0; ///< of the paths made so far
};

void CatalogReader::take(BinaryReader key, BinaryReader value) {
    CatalogEntry entry;
    entry.parent = key.readUInt32();
    entry.name = readUnits(key);
    const bool rises = entry.parent > previousParent ||
                       (entry.parent == previousParent && compareNames(previousName, entry.name) < 0);
    if (!rises)
        failDamaged("the catalog is not in its order");
    previousParent = entry.parent;
    previousName = entry.name;
    const std::uint16_t kind = value.readUInt16();
    if (kind == folderThread || kind == fileThread)
        return;
    if (kind != folderRecord && kind != fileRecord)
        failDamaged("the catalog has a record of an unknown kind");
    readItem(entry, value, kind == folderRecord);
    if (entries.size() >= limits.items)
        throw HFSPlusError(
            HFSPlusError::TooLarge{"it has more than " + std::to_string(limits.items) + " items"});
    if (!indexes.emplace(entry.item.id, entries.size()).second)
        failDamaged("two items have one number");
    entries.push_back(std::move(entry));
}

void CatalogReader::readItem(CatalogEntry& entry, BinaryReader& value, bool isFolder) {
    VolumeItem& item = entry.item;
    item.kind = isFolder ? Kind::folder : Kind::file;
    value.skip(6); // flags, count of children
    item.id = value.readUInt32();
    value.skip(4); // creation date
    item.modified = std::int64_t{value.readUInt32()} - secondsBefore1970;
    value.skip(12 + 8 + 1); // dates, owners, flags of the administrator
    const std::uint8_t ownerFlags = value.readUInt8();
    const std::uint16_t mode = value.readUInt16();
    const std::uint32_t special = value.readUInt32();
    const std::uint32_t type = value.readUInt32();
    const std::uint32_t creator = value.readUInt32();
    const std::uint16_t finderFlags = value.readUInt16();
    if (item.id == rootFolderID && isFolder)
        hasCustomIcon = (finderFlags & hasCustomIconFlag) != 0;
    if (isFolder) {
        setPermissions(item, mode);
        return;
    }
    if ((ownerFlags & compressedByFileSystem) != 0)
        failUnsupported("files that the file system compressed");
    if (type == folderLinkType)
        failUnsupported("hard links between folders");
    if (type == hardLinkType && creator == hardLinkCreator) {
        item.kind = Kind::hardLink;
        entry.linkNumber = special;
        return;
    }
    setPermissions(item, mode);
    value.seek(88);
    item.data = readFork(value, volume);
    completeFork(item.data, item.id, overflow);
}

void CatalogReader::findHidden(bool isJournaled) {
    for (const CatalogEntry& entry : entries) {
        if (entry.parent != rootFolderID)
            continue;
        if (entry.name == hardLinkFolder)
            hardLinkFiles = entry.item.id;
        if (entry.name == hardLinkFolder || entry.name == folderLinkFolder ||
            (isJournaled && (entry.name == u".journal" || entry.name == u".journal_info_block")))
            hidden.insert(entry.item.id);
    }
}

/// Nothing for a folder that is hidden or lies in a hidden one.
const std::string* CatalogReader::folderPath(CatalogID folder) {
    std::vector<CatalogID> climbed;
    CatalogID known = folder;
    while (!folderPaths.contains(known)) {
        const auto index = indexes.find(known);
        if (index == indexes.end() || entries[index->second].item.kind != Kind::folder)
            failDamaged("an item lies in a folder that does not exist");
        if (climbed.size() >= deepestFolder)
            failDamaged("folders lie in each other in a circle, or too deep");
        climbed.push_back(known);
        known = entries[index->second].parent;
    }
    std::optional<std::string> path = folderPaths.at(known);
    for (auto id = climbed.rbegin(); id != climbed.rend(); ++id) {
        const CatalogEntry& entry = entries[indexes.at(*id)];
        if (hidden.contains(*id))
            path.reset();
        if (path)
            path = itemPath(*path, entry.name);
        folderPaths.emplace(*id, path);
    }
    const auto& result = folderPaths.at(folder);
    return result ? &*result : nullptr;
}

std::string CatalogReader::itemPath(const std::string& folder, std::u16string_view stored) {
    const auto name = fileName(stored);
    if (!name)
        throw HFSPlusError(HFSPlusError::UnsafeName{shownName(stored)});
    std::string path = folder.empty() ? *name : folder + "/" + *name;
    pathBytes += path.size();
    if (path.size() > longestPath || pathBytes > mostPathBytes)
        throw HFSPlusError(HFSPlusError::TooLarge{"it has folders in folders too deep"});
    return path;
}

void CatalogReader::addHardLinks(std::vector<VolumeItem>& items,
                                 std::vector<std::pair<std::string, const CatalogEntry*>> links) const {
    std::map<std::u16string_view, const VolumeItem*> files;
    for (const CatalogEntry& entry : entries)
        if (entry.parent == hardLinkFiles && entry.item.kind == Kind::file)
            files.emplace(entry.name, &entry.item);
    std::map<CatalogID, std::string> made;
    std::sort(links.begin(), links.end());
    for (const auto& [path, link] : links) {
        const auto file = files.find(*encodeUTF16("iNode" + std::to_string(link->linkNumber)));
        if (file == files.end())
            failDamaged("a hard link leads nowhere");
        const auto [first, isFirst] = made.emplace(link->linkNumber, path);
        VolumeItem item = isFirst ? *file->second : link->item;
        item.id = link->item.id;
        item.path = path;
        item.original = isFirst ? "" : first->second;
        items.push_back(std::move(item));
    }
}

CatalogContent CatalogReader::finish(bool isJournaled) {
    const auto root = indexes.find(rootFolderID);
    if (root == indexes.end() || entries[root->second].item.kind != Kind::folder ||
        entries[root->second].parent != rootParentID)
        failDamaged("there is no root folder");
    CatalogContent content;
    content.hasCustomIcon = hasCustomIcon;
    content.volumeName = fileName(entries[root->second].name).value_or("");
    content.items.push_back(entries[root->second].item);
    folderPaths.emplace(rootFolderID, "");
    findHidden(isJournaled);
    std::vector<std::pair<std::string, const CatalogEntry*>> hardLinks;
    for (const CatalogEntry& entry : entries) {
        const std::string* folder = entry.item.id == rootFolderID ? nullptr : folderPath(entry.parent);
        if (folder == nullptr || hidden.contains(entry.item.id))
            continue;
        std::string path = itemPath(*folder, entry.name);
        if (entry.item.kind == Kind::hardLink) {
            hardLinks.emplace_back(std::move(path), &entry);
        } else {
            content.items.push_back(entry.item);
            content.items.back().path = std::move(path);
        }
    }
    addHardLinks(content.items, std::move(hardLinks));
    std::sort(content.items.begin(), content.items.end(),
              [](const VolumeItem& left, const VolumeItem& right) { return left.path < right.path; });
    for (const VolumeItem& item : content.items) {
        if (item.data.size > limits.totalSize - content.contentSize)
            throw HFSPlusError(
                HFSPlusError::TooLarge{"its files have more than " + formatByteCount(limits.totalSize)});
        content.contentSize += item.data.size;
    }
    if (content.contentSize > std::uint64_t{volume.totalBlocks} * volume.blockSize)
        failDamaged("files share their blocks");
    return content;
}

} // namespace

CatalogContent readCatalog(const Fork& catalog, const OverflowExtents& overflow, const VolumeBlocks& volume,
                           bool isJournaled, const UnfoldLimits& limits) {
    CatalogReader reader(overflow, volume, limits);
    visitLeafRecords(catalog, volume, [&](BinaryReader key, BinaryReader value) { reader.take(key, value); });
    return reader.finish(isJournaled);
}

} // namespace halvo::hfsplus
