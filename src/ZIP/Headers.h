#pragma once

#include "FolderTree.h"
#include "LittleEndian.h"

namespace halvo::zip {

/// What an entry's headers say beyond the TreeEntry itself.
struct Content {
    std::uint16_t method = 0; ///< stored
    std::uint32_t crc = 0;
    std::uint64_t compressedSize = 0;
    std::uint64_t size = 0;
};

/// The record before an entry's data. Its length depends on the entry alone, so it can be written again when
/// the content is known.
Bytes localHeader(const TreeEntry& entry, const Content& content);

/// Appends the entry's record in the central directory; `offset` is that of its local header.
void writeCentralHeader(LittleEndianWriter& directory, const TreeEntry& entry, const Content& content,
                        std::uint64_t offset);

/// What closes the archive behind a central directory of `count` entries.
Bytes endRecords(std::uint64_t count, std::uint64_t directoryOffset, std::uint64_t directorySize);

} // namespace halvo::zip
