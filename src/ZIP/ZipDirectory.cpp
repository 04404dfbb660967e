#include <ZIP/ZipDirectory.h>

#include "ArchiveOutput.h"
#include "ChunkPool.h"
#include "Format.h"
#include "Headers.h"

#include <span>

#include <libdeflate.h>
#include <zlib.h>

namespace halvo {
namespace {

using namespace zip;

/// Writes the entries one after the other; their content comes from a pool that works ahead.
class Packer {
public:
    Packer(const std::vector<TreeEntry>& tree, ArchiveOutput& archive, const PackingOptions& chosen)
        : entries(tree), chunks(cutIntoChunks(tree)), pool(chunks, chosen.threads), output(archive),
          options(chosen) {
        for (const Chunk& chunk : chunks)
            totalSize += chunk.size;
    }

    void pack() {
        for (const TreeEntry& entry : entries) {
            if (options.cancellation.stop_requested())
                throw CancelledError();
            if (entry.name.size() >= saturated16)
                throw ZIPError(ZIPError::NameTooLong{entry.name});
            packEntry(entry);
        }
        const std::uint64_t directoryOffset = output.position();
        output.append(directory.bytes());
        output.append(endRecords(entries.size(), directoryOffset, directory.bytes().size()));
    }

private:
    void packEntry(const TreeEntry& entry) {
        const std::uint64_t offset = output.position();
        Content content;
        output.append(localHeader(entry, content)); // again below, when the content is known
        if (entry.kind == TreeEntry::Kind::link)
            packTarget(entry, content);
        else if (entry.kind == TreeEntry::Kind::file && entry.identity.size > 0)
            packFile(entry, content);
        output.rewrite(offset, localHeader(entry, content));
        writeCentralHeader(directory, entry, content, offset);
    }

    void packTarget(const TreeEntry& entry, Content& content) {
        content.size = content.compressedSize = entry.target.size();
        content.crc = libdeflate_crc32(0, entry.target.data(), entry.target.size());
        output.append(viewBytes(entry.target));
    }

    void packFile(const TreeEntry& entry, Content& content) {
        const std::uint64_t start = output.position();
        const std::size_t firstChunk = nextChunk;
        content.method = methodDeflated;
        for (bool isLast = false; !isLast; ++nextChunk) {
            const Chunk& chunk = chunks[nextChunk];
            isLast = chunk.isLast;
            const DeflatedChunk deflated = pool.takeNext(options.cancellation);
            output.append(deflated.bytes);
            if (deflated.isStored)
                content.method = methodStored;
            content.crc = static_cast<std::uint32_t>(
                ::crc32_combine(content.crc, deflated.crc, static_cast<z_off_t>(chunk.size)));
            doneSize += chunk.size;
            if (options.progress)
                options.progress(doneSize, totalSize);
        }
        content.size = entry.identity.size;
        if (content.method == methodDeflated && output.position() - start >= content.size) {
            output.goBack(start);
            content.method = methodStored;
            for (const Chunk& chunk : std::span(chunks).subspan(firstChunk, nextChunk - firstChunk)) {
                if (options.cancellation.stop_requested())
                    throw CancelledError();
                output.append(readChunk(chunk));
            }
        }
        content.compressedSize = output.position() - start;
    }

    const std::vector<TreeEntry>& entries;
    std::vector<Chunk> chunks;
    ChunkPool pool;
    ArchiveOutput& output;
    const PackingOptions& options;
    LittleEndianWriter directory;
    std::size_t nextChunk = 0;
    std::uint64_t doneSize = 0;
    std::uint64_t totalSize = 0;
};

} // namespace

void zipDirectory(const std::filesystem::path& folder, const std::filesystem::path& destination,
                  const PackingOptions& options) {
    const std::vector<TreeEntry> entries = listTree(folder, options.cancellation);
    ArchiveOutput output(destination);
    Packer(entries, output, options).pack();
    output.finish();
}

} // namespace halvo
