#include "CatalogTree.h"

#include "TreeBuilder.h"

namespace halvo::hfsplus {
namespace {

using Kind = VolumeItem::Kind;
using Entry = VolumeContents::Entry;

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

std::uint16_t modeOf(const VolumeItem& item) {
    const std::uint16_t kind = item.kind == Kind::folder ? modeFolder
                               : item.kind == Kind::link ? modeLink
                                                         : modeFile;
    return static_cast<std::uint16_t>(kind | item.permissions);
}

Bytes itemRecord(const Entry& entry, std::uint32_t date, std::uint16_t finderFlags,
                 std::uint64_t firstBlock) {
    const VolumeItem& item = entry.item;
    const bool isFolder = item.kind == Kind::folder;
    const bool isLink = item.kind == Kind::link;
    BinaryWriter record;
    record.writeUInt16(isFolder ? folderRecord : fileRecord);
    record.writeUInt16(isFolder ? 0 : threadExists);
    record.writeUInt32(static_cast<std::uint32_t>(entry.childCount));
    record.writeUInt32(entry.id);
    for (int moment = 0; moment < 4; ++moment) // created, content changed, attributes changed, read
        record.writeUInt32(date);
    record.writeUInt32(0); // no backup
    record.writeUInt32(unknownOwner);
    record.writeUInt32(unknownOwner);
    record.writeUInt16(0); // flags of administrator and owner
    record.writeUInt16(modeOf(item));
    record.writeUInt32(entry.id == rootFolderID ? 0 : 1); // links to it
    record.writeUInt32(isLink ? linkType : 0);
    record.writeUInt32(isLink ? linkCreator : 0);
    record.writeUInt16(finderFlags);
    record.writeZeros(6 + 16 + 4 + 4); // place of the icon, further Finder information, encoding
    if (!isFolder) {
        writeFork(record, item.size(), firstBlock, 0);
        writeFork(record, 0, 0, 0); // no resource fork
    }
    return record.take();
}

} // namespace

std::uint32_t volumeDate(Date date) {
    const std::int64_t seconds = std::chrono::floor<std::chrono::seconds>(date).time_since_epoch().count();
    return static_cast<std::uint32_t>(representable(seconds) + secondsBefore1970);
}

void writeFork(BinaryWriter& writer, std::uint64_t size, std::uint64_t firstBlock, std::uint64_t clump) {
    const auto blocks = static_cast<std::uint32_t>(blocksFor(size));
    writer.writeUInt64(size);
    writer.writeUInt32(static_cast<std::uint32_t>(clump));
    writer.writeUInt32(blocks);
    writer.writeUInt32(blocks == 0 ? 0 : static_cast<std::uint32_t>(firstBlock));
    writer.writeUInt32(blocks);
    writer.writeZeros((extentsPerRecord - 1) * 8);
}

Bytes buildCatalog(const VolumeContents& contents, std::uint64_t firstDataBlock) {
    const std::vector<Entry>& entries = contents.entries();
    std::vector<std::uint64_t> firstBlocks;
    for (const Entry& entry : entries) {
        firstBlocks.push_back(firstDataBlock);
        firstDataBlock += blocksFor(entry.item.size());
    }
    const auto record = [&](std::size_t index, std::uint16_t finderFlags) {
        const std::uint32_t date = volumeDate(contents.dateOf(entries[index].item.date));
        return itemRecord(entries[index], date, finderFlags, firstBlocks[index]);
    };
    TreeBuilder tree(
        {.longestKey = longestCatalogKey, .keyComparison = 0xCF, .attributes = bigKeys | variableIndexKeys});
    tree.add(catalogKey(rootParentID, contents.storedName()),
             record(0, contents.options().hasCustomIcon ? hasCustomIconFlag : 0));
    // Keys rise by the number of the parent first, as the entries do: a thread, then that folder's children.
    for (std::size_t index = 0; index < entries.size(); ++index) {
        const Entry& entry = entries[index];
        const CatalogID parent = index == 0 ? rootParentID : entries[entry.parent].id;
        tree.add(catalogKey(entry.id, {}), threadRecord(entry.item.kind, parent, entry.name));
        for (std::size_t child = entry.firstChild; child < entry.firstChild + entry.childCount; ++child)
            tree.add(catalogKey(entry.id, entries[child].name), record(child, 0));
    }
    return tree.finish();
}

} // namespace halvo::hfsplus
