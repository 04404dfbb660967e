#include "CatalogTree.h"

#include "Format.h"
#include "TreeBuilder.h"

#include <algorithm>
#include <numeric>

namespace halvo::hfsplus {
namespace {

using Kind = FolderItem::Kind;

/// Nobody's: macOS shows such items as belonging to whoever looks at them.
constexpr std::uint32_t unknownOwner = 99;

Bytes catalogKey(CatalogID parent, std::u16string_view name) {
    BinaryWriter key;
    key.writeUInt16(static_cast<std::uint16_t>(6 + 2 * name.size()));
    key.writeUInt32(parent);
    key.writeUInt16(static_cast<std::uint16_t>(name.size()));
    key.writeUTF16String(name);
    return key.take();
}

Bytes threadRecord(Kind kind, CatalogID parent, std::u16string_view name) {
    BinaryWriter record;
    record.writeUInt16(kind == Kind::folder ? folderThread : fileThread);
    record.writeUInt16(0);
    record.writeUInt32(parent);
    record.writeUInt16(static_cast<std::uint16_t>(name.size()));
    record.writeUTF16String(name);
    return record.take();
}

Bytes itemRecord(const FolderItem& item, std::uint16_t finderFlags, std::uint64_t firstBlock) {
    const bool isFolder = item.kind == Kind::folder;
    const bool isLink = item.kind == Kind::link;
    BinaryWriter record;
    record.writeUInt16(isFolder ? folderRecord : fileRecord);
    record.writeUInt16(isFolder ? 0 : threadExists);
    record.writeUInt32(static_cast<std::uint32_t>(item.childCount));
    record.writeUInt32(item.id);
    for (int date = 0; date < 4; ++date) // created, content changed, attributes changed, read
        record.writeUInt32(item.date);
    record.writeUInt32(0); // no backup
    record.writeUInt32(unknownOwner);
    record.writeUInt32(unknownOwner);
    record.writeUInt16(0); // flags of administrator and owner
    record.writeUInt16(item.mode);
    record.writeUInt32(item.id == rootFolderID ? 0 : 1); // links to it
    record.writeUInt32(isLink ? linkType : 0);
    record.writeUInt32(isLink ? linkCreator : 0);
    record.writeUInt16(finderFlags);
    record.writeZeros(6 + 16 + 4 + 4); // place of the icon, further Finder information, encoding
    if (!isFolder) {
        writeFork(record, item.size, firstBlock, 0);
        writeFork(record, 0, 0, 0); // no resource fork
    }
    return record.take();
}

} // namespace

void writeFork(BinaryWriter& writer, std::uint64_t size, std::uint64_t firstBlock, std::uint64_t clump) {
    const auto blocks = static_cast<std::uint32_t>(blocksFor(size));
    writer.writeUInt64(size);
    writer.writeUInt32(static_cast<std::uint32_t>(clump));
    writer.writeUInt32(blocks);
    writer.writeUInt32(blocks == 0 ? 0 : static_cast<std::uint32_t>(firstBlock));
    writer.writeUInt32(blocks);
    writer.writeZeros((extentsPerRecord - 1) * 8);
}

Bytes buildCatalog(const std::vector<FolderItem>& items, const std::u16string& volumeName, bool hasCustomIcon,
                   std::uint64_t firstDataBlock) {
    std::vector<std::uint64_t> firstBlocks;
    for (const FolderItem& item : items) {
        firstBlocks.push_back(firstDataBlock);
        firstDataBlock += blocksFor(item.size);
    }
    // Keys rise by the number of the parent first: a thread, then the children of that folder.
    std::vector<std::size_t> byID(items.size());
    std::iota(byID.begin(), byID.end(), 0);
    std::sort(byID.begin(), byID.end(),
              [&](std::size_t left, std::size_t right) { return items[left].id < items[right].id; });
    TreeBuilder tree(
        {.longestKey = longestCatalogKey, .keyComparison = 0xCF, .attributes = bigKeys | variableIndexKeys});
    tree.add(catalogKey(rootParentID, volumeName),
             itemRecord(items.front(), hasCustomIcon ? hasCustomIconFlag : 0, 0));
    for (const std::size_t index : byID) {
        const FolderItem& item = items[index];
        const bool isRoot = index == 0;
        tree.add(catalogKey(item.id, {}),
                 threadRecord(item.kind, isRoot ? rootParentID : items[item.parent].id,
                              isRoot ? volumeName : item.name));
        for (std::size_t child = item.firstChild; child < item.firstChild + item.childCount; ++child)
            tree.add(catalogKey(item.id, items[child].name), itemRecord(items[child], 0, firstBlocks[child]));
    }
    return tree.finish();
}

} // namespace halvo::hfsplus
