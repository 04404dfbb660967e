#include <HFSPlus/VolumeContents.h>

#include "CatalogTree.h"
#include "FolderItems.h"
#include "Format.h"
#include "ImageOutput.h"
#include "Names.h"
#include "TreeBuilder.h"

#include <algorithm>
#include <limits>

namespace halvo::hfsplus {
namespace {

constexpr std::uint64_t smallestVolume = 512 * 1024; ///< what macOS itself makes at least, bytes
constexpr std::uint64_t bitsPerBlock = blockSize * 8;
constexpr std::uint32_t defaultClump = 65536;

Bytes emptyExtentsTree() { return TreeBuilder({.longestKey = extentsKey, .attributes = bigKeys}).finish(); }

Bytes emptyAttributesTree() {
    return TreeBuilder({.nodeSize = 8192,
                        .longestKey = longestAttributesKey,
                        .attributes = bigKeys | variableIndexKeys})
        .finish();
}

std::u16string storedVolumeName(std::string_view name) {
    const auto stored = storedName(name);
    if (!stored || stored->empty() || stored->size() > longestName)
        throw HFSPlusError(HFSPlusError::InvalidName{
            std::string(name), !stored           ? "it is not UTF-8"
                               : stored->empty() ? "a volume needs a name"
                                                 : "it has more than 255 UTF-16 characters"});
    return *stored;
}

/// Where everything stands, in blocks: header, bitmap, trees, catalog, data; the copy of the header in the
/// last.
struct Layout {
    Layout(std::uint64_t totalBlocks, std::uint64_t catalogBlocks, std::uint64_t dataBlocks)
        : total(totalBlocks), bitmap(1), extents(bitmap + (total + bitsPerBlock - 1) / bitsPerBlock),
          attributes(extents + 1), catalog(attributes + 2), data(catalog + catalogBlocks),
          free(data + dataBlocks) {}

    bool fits() const { return free < total; }

    std::uint64_t total;
    std::uint64_t bitmap;
    std::uint64_t extents;
    std::uint64_t attributes;
    std::uint64_t catalog;
    std::uint64_t data;
    std::uint64_t free; ///< the first, or the last of all
};

/// The smallest volume that these fit into.
Layout tightLayout(std::uint64_t catalogBlocks, std::uint64_t dataBlocks) {
    Layout layout(smallestVolume / blockSize, catalogBlocks, dataBlocks);
    while (!layout.fits())
        layout = Layout(layout.free + 1, catalogBlocks, dataBlocks);
    return layout;
}

/// One bit for each block, the highest first: everything before the free ones and the last.
void writeBitmap(ImageOutput& output, const Layout& layout) {
    Bytes begin(layout.free / 8, 0xFF);
    begin.push_back(static_cast<std::uint8_t>(0xFF00u >> (layout.free % 8)));
    const std::uint64_t last = layout.total - 1;
    Bytes end{static_cast<std::uint8_t>(0x80u >> (last % 8))};
    if (last / 8 == begin.size() - 1)
        end[0] |= begin.back();
    output.write(layout.bitmap * blockSize, begin);
    output.write(layout.bitmap * blockSize + last / 8, end);
}

} // namespace

struct VolumeContents::Plan {
    std::filesystem::path folder;
    std::vector<FolderItem> items;
    CatalogIDs ids;
    std::uint64_t dataBlocks = 0;
    std::uint64_t fileBytes = 0;

    std::uint64_t catalogBlocks(const std::u16string& name) const {
        return blocksFor(buildCatalog(items, name, false, 0).size());
    }

    Bytes header(const Layout& layout, const VolumeProperties& properties, std::uint64_t catalogSize) const;
    void writeFiles(ImageOutput& output, const Layout& layout, const Progress& progress,
                    const std::stop_token& cancellation) const;
};

Bytes VolumeContents::Plan::header(const Layout& layout, const VolumeProperties& properties,
                                   std::uint64_t catalogSize) const {
    const auto isFolder = [](const FolderItem& item) { return item.kind == FolderItem::Kind::folder; };
    const auto folders = static_cast<std::uint32_t>(std::count_if(items.begin(), items.end(), isFolder));
    const std::uint32_t created = volumeDate(properties.creationDate);
    std::uint32_t changed = created;
    CatalogID highest = firstUserID - 1;
    for (const FolderItem& item : items) {
        changed = std::max(changed, item.date);
        highest = std::max(highest, item.id);
    }
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
    header.writeUInt32(static_cast<std::uint32_t>(items.size()) - folders);
    header.writeUInt32(folders - 1); // without the root
    header.writeUInt32(blockSize);
    header.writeUInt32(static_cast<std::uint32_t>(layout.total));
    header.writeUInt32(static_cast<std::uint32_t>(layout.total - layout.free - 1));
    header.writeUInt32(static_cast<std::uint32_t>(layout.free)); // where to look for free blocks
    header.writeUInt32(defaultClump);
    header.writeUInt32(defaultClump);
    header.writeUInt32(highest + 1);
    header.writeUInt32(1); // written once
    header.writeUInt64(1); // encodings: MacRoman, the number 0 in all items
    header.writeZeros(6 * 4);
    header.writeUInt64(properties.identifier);
    const auto writeWholeBlocks = [&header](std::uint64_t first, std::uint64_t end) {
        writeFork(header, (end - first) * blockSize, first, (end - first) * blockSize);
    };
    writeWholeBlocks(layout.bitmap, layout.extents);
    writeWholeBlocks(layout.extents, layout.attributes);
    writeWholeBlocks(layout.catalog, layout.catalog + blocksFor(catalogSize));
    writeWholeBlocks(layout.attributes, layout.catalog);
    header.writePadding(headerSize); // no startup file
    return header.take();
}

void VolumeContents::Plan::writeFiles(ImageOutput& output, const Layout& layout, const Progress& progress,
                                      const std::stop_token& cancellation) const {
    std::uint64_t done = 0;
    const auto copied = [&](std::uint64_t count) {
        if (cancellation.stop_requested())
            throw CancelledError();
        done += count;
        if (progress)
            progress(done, fileBytes);
    };
    std::uint64_t block = layout.data;
    for (const FolderItem& item : items) {
        if (item.kind == FolderItem::Kind::file)
            output.copyFile(block * blockSize, folder / item.path, item, copied);
        else if (item.kind == FolderItem::Kind::link)
            output.write(block * blockSize, viewBytes(item.target));
        block += blocksFor(item.size);
    }
}

VolumeContents::VolumeContents(const std::filesystem::path& folder) : VolumeContents(folder, Options{}) {}

VolumeContents::VolumeContents(const std::filesystem::path& folder, const Options& options)
    : plan(std::make_unique<Plan>()) {
    plan->folder = folder;
    plan->items = readFolder(folder, options);
    for (const FolderItem& item : plan->items) {
        plan->ids.emplace(item.path, item.id);
        plan->dataBlocks += blocksFor(item.size);
        if (item.kind == FolderItem::Kind::file)
            plan->fileBytes += item.size;
    }
}

VolumeContents::VolumeContents(VolumeContents&&) noexcept = default;
VolumeContents& VolumeContents::operator=(VolumeContents&&) noexcept = default;
VolumeContents::~VolumeContents() = default;

std::uint64_t VolumeContents::minimumSize(std::string_view volumeName) const {
    return tightLayout(plan->catalogBlocks(storedVolumeName(volumeName)), plan->dataBlocks).total * blockSize;
}

const CatalogIDs& VolumeContents::catalogIDs() const { return plan->ids; }

void VolumeContents::write(int file, std::uint64_t offset, std::uint64_t size,
                           const VolumeProperties& properties, const Progress& progress,
                           const std::stop_token& cancellation) const {
    const std::u16string name = storedVolumeName(properties.name);
    const std::uint64_t catalogBlocks = plan->catalogBlocks(name);
    const Layout layout(size / blockSize, catalogBlocks, plan->dataBlocks);
    if (!layout.fits() || size < smallestVolume)
        throw HFSPlusError(
            HFSPlusError::NoSpace{tightLayout(catalogBlocks, plan->dataBlocks).total * blockSize, size});
    if (layout.total > std::numeric_limits<std::uint32_t>::max())
        throw HFSPlusError(HFSPlusError::TooLarge{"it would have more than 2^32 blocks"});

    ImageOutput output(file, offset);
    output.reserve(size);
    plan->writeFiles(output, layout, progress, cancellation);
    const Bytes catalog = buildCatalog(plan->items, name, properties.hasCustomIcon, layout.data);
    output.write(layout.catalog * blockSize, catalog);
    output.write(layout.attributes * blockSize, emptyAttributesTree());
    output.write(layout.extents * blockSize, emptyExtentsTree());
    writeBitmap(output, layout);
    const Bytes header = plan->header(layout, properties, catalog.size());
    output.write(size - alternateHeaderDistance, header);
    output.write(headerOffset, header);
}

} // namespace halvo::hfsplus
