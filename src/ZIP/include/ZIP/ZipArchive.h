#pragma once

#include <Platform/Files.h>
#include <ZIP/ZIPError.h>

#include <cstdint>
#include <string>
#include <vector>

namespace halvo {

/// One entry as the archive's list of entries describes it. Nothing is made of the name here: whoever turns
/// it into a path has to judge it.
struct ZipEntry {
    std::string name{}; ///< as it stands there, any bytes; a folder's ends in a slash
    bool isLink = false;
    bool isEncrypted = false;
    std::uint16_t method = 0;
    std::uint32_t crc = 0;
    std::uint64_t compressedSize = 0;
    std::uint64_t size = 0;
    std::uint64_t offset = 0; ///< of the local header
};

/// A ZIP archive (stored and deflated entries, ZIP64) that is read entry by entry, into memory. What nobody
/// asks for is not looked at: an archive is not refused for an odd name or a link that is not wanted.
class ZipArchive {
public:
    /// Throws FileError, and ZIPError for what is not a whole archive.
    explicit ZipArchive(const std::filesystem::path& archive);

    /// In the order of the archive.
    const std::vector<ZipEntry>& entries() const { return all; }

    /// The content, checked against its CRC. Throws ZIPError when it cannot be read, and for more than
    /// `limit` bytes. No more than that is ever taken, whatever the archive says.
    Bytes read(const ZipEntry& entry, std::uint64_t limit) const;

private:
    MappedFile file;
    std::vector<ZipEntry> all;
};

} // namespace halvo
