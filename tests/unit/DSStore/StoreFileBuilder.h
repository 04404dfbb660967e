#pragma once

#include <Base/Bytes.h>

#include <optional>
#include <string>
#include <vector>

namespace halvo::test {

/// Puts files together without the library's writer, so that they can be damaged in any way.
struct StoreFileBuilder {
    struct Entry {
        std::string name{};
        std::uint32_t block = 0;
    };
    struct Block {
        Bytes data{};
        std::uint32_t sizePower = 12;
        std::uint32_t offset = 0; ///< 0: behind the block before it
    };

    std::uint32_t root = 2;
    std::uint32_t height = 0;
    std::uint32_t recordCount = 0;
    std::uint32_t nodeCount = 1;
    std::uint32_t pageSize = 4096;
    std::vector<Block> nodes{}; ///< blocks 2, 3, ...
    std::vector<Entry> tableOfContents{{"DSDB", 1}};
    std::uint32_t reservedWord = 0;

    /// The header lies in block 1, the nodes behind it, the allocator at the end. All free lists are empty.
    Bytes build() const;

    /// An encoded record; without a value, it holds none.
    static Bytes record(const std::string& asciiName, const std::string& type = "Iloc",
                        const std::string& value = std::string(4, '\0'));
    static Bytes leaf(const std::vector<Bytes>& records);
    /// A child before each record, and the last one behind them.
    static Bytes internal(const std::vector<std::uint32_t>& children, const std::vector<Bytes>& records);
};

/// What reading the bytes ends in: "", the detail of a corrupted file, or the description of another error.
std::string readingError(ByteView file);
/// The diagnostics of a read that must succeed.
std::vector<std::string> readingDiagnostics(ByteView file);
/// The same bytes with a number put over those at an offset.
Bytes patched(Bytes file, std::size_t offset, std::uint32_t number);

} // namespace halvo::test
