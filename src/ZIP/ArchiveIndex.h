#pragma once

#include <Base/Bytes.h>
#include <ZIP/ZIPError.h>

#include <cstdint>
#include <string>
#include <vector>

namespace halvo::zip {

/// One entry as the central directory describes it.
struct ArchiveEntry {
    enum class Kind { file, folder, link };
    Kind kind = Kind::file;
    std::string path{};       ///< safe to append to a folder: no `..`, not absolute, no slash at the end
    std::string storedName{}; ///< as it stands in the archive
    unsigned permissions = 0; ///< the nine bits, 0 when the archive has none
    std::uint16_t method = 0;
    std::uint32_t crc = 0;
    std::uint64_t compressedSize = 0;
    std::uint64_t size = 0;
    std::uint64_t offset = 0; ///< of the local header
    std::uint64_t limit = 0;  ///< the data ends here at the latest
};

/// Reads the central directory of an archive and checks it: names that stay inside, no encryption, one entry
/// for each path, nothing below a file or a link, no entries that overlap. The result is sorted so that what
/// lies in a folder follows it. Throws ZIPError; `archiveName` is for its message.
std::vector<ArchiveEntry> readIndex(ByteView archive, std::uint64_t entryLimit,
                                    const std::string& archiveName);

/// The order of readIndex: bytes, with the slash before all others.
bool pathPrecedes(std::string_view left, std::string_view right);

} // namespace halvo::zip
