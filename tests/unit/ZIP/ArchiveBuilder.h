#pragma once

#include <Base/Bytes.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace halvo {

/// One entry of a hand-made archive; what is absent follows from `data`.
struct BuiltEntry {
    std::string name{};
    std::string data{}; ///< as it stands in the archive
    std::uint32_t mode = 0100644;
    std::uint16_t method = 0;
    std::uint16_t flags = 0;
    std::optional<std::uint32_t> size{}; ///< uncompressed
    std::optional<std::uint32_t> crc{};  ///< of `data`, when absent
    std::optional<std::uint32_t> compressedSize{};
    std::optional<std::uint32_t> offset{};  ///< of the local header
    std::optional<std::string> localName{}; ///< the name in the local header
    std::string extra{};                    ///< in the central directory
    bool hasDescriptor = false;             ///< sizes behind the data, as macOS writes them
};

/// Writes whatever it is told, valid or not.
std::string buildArchive(const std::vector<BuiltEntry>& entries);

std::string littleEndian(std::uint64_t value, int bytes);

/// A raw deflate stream of `data`, and the plain size and CRC to go with it.
BuiltEntry deflatedEntry(std::string name, const std::string& data);

} // namespace halvo
