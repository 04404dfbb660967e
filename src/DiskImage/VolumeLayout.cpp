#include "VolumeLayout.h"

#include "CatalogTree.h"
#include "TreeBuilder.h"

#include <DiskImage/DiskImageError.h>

#include <algorithm>
#include <limits>

namespace halvo {
namespace {

using namespace hfsplus;

constexpr std::uint64_t bitsPerBlock = blockSize * 8;
/// Free room as macOS leaves some; as zeros it takes none in the image.
constexpr std::uint64_t spareBlocks = 512;
constexpr std::uint32_t defaultClump = 65536;

/// Where everything stands, in blocks: header, bitmap, trees, catalog, data; the copy of the header in the
/// last.
struct Layout {
    Layout(std::uint64_t totalBlocks, std::uint64_t catalogBlocks, std::uint64_t dataBlocks)
        : total(totalBlocks), extents(bitmap + (total + bitsPerBlock - 1) / bitsPerBlock),
          attributes(extents + 1), catalog(attributes + 2), data(catalog + catalogBlocks),
          free(data + dataBlocks) {}

    static Layout of(std::uint64_t catalogBlocks, std::uint64_t dataBlocks) {
        Layout layout(spareBlocks, catalogBlocks, dataBlocks);
        while (layout.total < layout.free + spareBlocks) // a larger volume may need a larger bitmap
            layout = Layout(layout.free + spareBlocks, catalogBlocks, dataBlocks);
        return layout;
    }

    std::uint64_t total;
    std::uint64_t bitmap = 1;
    std::uint64_t extents;
    std::uint64_t attributes;
    std::uint64_t catalog;
    std::uint64_t data;
    std::uint64_t free;
};

Bytes emptyExtentsTree() { return TreeBuilder({.longestKey = extentsKey, .attributes = bigKeys}).finish(); }

Bytes emptyAttributesTree() {
    return TreeBuilder({.nodeSize = 8192,
                        .longestKey = longestAttributesKey,
                        .attributes = bigKeys | variableIndexKeys})
        .finish();
}

/// One bit for each block, the highest first: everything before the free ones and the last.
Bytes bitmapOf(const Layout& layout) {
    Bytes bitmap((layout.extents - layout.bitmap) * blockSize);
    std::fill_n(bitmap.begin(), layout.free / 8, std::uint8_t{0xFF});
    bitmap[layout.free / 8] = static_cast<std::uint8_t>(0xFF00u >> (layout.free % 8));
    const std::uint64_t last = layout.total - 1;
    bitmap[last / 8] |= static_cast<std::uint8_t>(0x80u >> (last % 8));
    return bitmap;
}

Bytes headerOf(const Layout& layout, const VolumeContents& contents, std::uint64_t identifier) {
    const auto isFolder = [](const auto& entry) { return entry.item.kind == VolumeItem::Kind::folder; };
    const auto& entries = contents.entries();
    const auto folders = static_cast<std::uint32_t>(std::ranges::count_if(entries, isFolder));
    const std::uint32_t created = volumeDate(contents.creationDate());
    std::uint32_t changed = created;
    for (const auto& entry : entries)
        changed = std::max(changed, volumeDate(contents.dateOf(entry.item.date)));
    BinaryWriter header;
    header.writeUInt16(signatureHFSPlus);
    header.writeUInt16(4); // version
    header.writeUInt32(volumeUnmounted | unusedNodesAreZero);
    header.writeText("10.0"); // who mounted it last: macOS
    header.writeUInt32(0);    // no journal
    header.writeUInt32(created);
    header.writeUInt32(changed);
    header.writeUInt32(0); // no backup
    header.writeUInt32(created);
    header.writeUInt32(static_cast<std::uint32_t>(entries.size()) - folders);
    header.writeUInt32(folders - 1); // without the root
    header.writeUInt32(blockSize);
    header.writeUInt32(static_cast<std::uint32_t>(layout.total));
    header.writeUInt32(static_cast<std::uint32_t>(layout.total - layout.free - 1));
    header.writeUInt32(static_cast<std::uint32_t>(layout.free)); // where to look for free blocks
    header.writeUInt32(defaultClump);
    header.writeUInt32(defaultClump);
    header.writeUInt32(entries.back().id + 1);
    header.writeUInt32(1); // written once
    header.writeUInt64(1); // encodings: MacRoman, the number 0 in all items
    header.writeZeros(6 * 4);
    header.writeUInt64(identifier);
    const auto writeWholeBlocks = [&header](std::uint64_t first, std::uint64_t end) {
        writeFork(header, (end - first) * blockSize, first, (end - first) * blockSize);
    };
    writeWholeBlocks(layout.bitmap, layout.extents);
    writeWholeBlocks(layout.extents, layout.attributes);
    writeWholeBlocks(layout.catalog, layout.data);
    writeWholeBlocks(layout.attributes, layout.catalog);
    header.writePadding(headerSize); // no startup file
    return header.take();
}

/// A block with the header at that offset.
Bytes headerBlock(const Bytes& header, std::size_t offset) {
    Bytes block(blockSize);
    std::ranges::copy(header, block.begin() + static_cast<std::ptrdiff_t>(offset));
    return block;
}

} // namespace

std::vector<DiskPiece> layOutVolume(const VolumeContents& contents, std::uint64_t identifier) {
    std::uint64_t dataBlocks = 0;
    for (const auto& entry : contents.entries())
        dataBlocks += blocksFor(entry.item.size());
    // Its size does not depend on where the data stand.
    const Layout layout = Layout::of(blocksFor(buildCatalog(contents, 0).size()), dataBlocks);
    if (layout.total > std::numeric_limits<std::uint32_t>::max())
        throw DiskImageError(DiskImageError::TooLarge{"it would have more than 2^32 blocks"});

    std::vector<DiskPiece> pieces;
    const auto add = [&pieces](Bytes bytes, const VolumeItem* file = nullptr) {
        const std::uint64_t size = file == nullptr ? bytes.size() : file->size();
        if (size > 0)
            pieces.push_back({blocksFor(size) * blockSize, std::move(bytes), file});
    };
    const Bytes header = headerOf(layout, contents, identifier);
    add(headerBlock(header, headerOffset));
    add(bitmapOf(layout));
    add(emptyExtentsTree());
    add(emptyAttributesTree());
    add(buildCatalog(contents, layout.data));
    for (const auto& entry : contents.entries()) {
        if (entry.item.source.empty())
            add(entry.item.content);
        else
            add({}, &entry.item);
    }
    pieces.push_back({.size = (layout.total - layout.free - 1) * blockSize});
    add(headerBlock(header, blockSize - alternateHeaderDistance));
    return pieces;
}

} // namespace halvo
