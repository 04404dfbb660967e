#pragma once

#include <DSStore/DSStoreError.h>
#include <DSStore/DiagnosticHandler.h>

#include <Base/BinaryReader.h>

#include <array>
#include <map>
#include <optional>
#include <vector>

namespace halvo::dsstore {

/// The block table of a `.DS_Store` file: where each numbered block lies, what the named ones are called, and
/// which pieces of the file are free. docs/formats/ds-store.md has the picture.
struct BuddyAllocator {
    /// Where a block lies, in allocator space: allocator offset 0 is byte 4 of the file.
    struct Address {
        std::uint32_t offset = 0;
        std::uint32_t size = 0;
        bool operator==(const Address&) const = default;
    };

    /// Where a block lies, in bytes from the start of the file.
    struct Block {
        std::uint64_t position = 0;
        std::uint32_t size = 0;
        std::uint64_t end() const { return position + size; }
        bool operator==(const Block&) const = default;
    };

    std::vector<std::uint32_t> blockAddresses{}; ///< every slot as read, also those past `blockCount`
    std::optional<std::uint32_t> blockCount{};
    std::map<std::string, std::uint32_t> tableOfContents{}; ///< name to block number
    std::array<std::vector<std::uint32_t>, 32>
        freeLists{}; ///< list i: allocator offsets of free blocks of 2^i

    /// The low five bits hold the power of two of the size, the others the offset.
    static Address decodeAddress(std::uint32_t address);

    /// Throws Error (`invalidBlockAddress`) for a number without a block and for an address that no block can
    /// have. The block may still reach past the end of the file.
    Block blockOffset(std::uint32_t blockNumber) const;

    /// Reads the allocator block from where the reader stands. Throws Error (`corruptedFile`) or
    /// BinaryReadError.
    static BuddyAllocator read(BinaryReader& reader, const DiagnosticHandler& diagnostics);
};

/// Reads the prologue of a file and the allocator that it points to. Throws Error or BinaryReadError.
BuddyAllocator readAllocator(ByteView file, const DiagnosticHandler& diagnostics);

} // namespace halvo::dsstore
