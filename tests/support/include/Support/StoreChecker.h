#pragma once

#include <Base/Bytes.h>

#include <string>
#include <vector>

namespace halvo::test {

/// A record as the bytes of a `.DS_Store` file have it.
struct StoredRecord {
    std::string filename{};
    std::string type{};
    std::string valueType{}; ///< "" for a value without a type
    Bytes payload{};         ///< behind the value's type, a length before it left out
    bool operator==(const StoredRecord&) const = default;
};

/// What a file holds, and the shape of its tree.
struct StoredFile {
    std::vector<StoredRecord> records{};
    std::string tree{}; ///< filenames by node, leaves in brackets: "([a] b [c d])"
    std::uint32_t rootBlock = 0;
    std::uint32_t height = 0;
    std::uint32_t nodeCount = 0;
    std::uint32_t blockCount = 0;
    std::vector<std::vector<std::uint32_t>> freeLists{};
};

/// Reads a file as strictly as the format allows, sharing no code with the library that it checks. Every byte
/// must belong to exactly one block, free piece or the prologue; whatever is not used must be zero; blocks
/// must be no larger than they need to be; leaves must lie at one depth; the counts must fit. Throws
/// std::runtime_error that says what is wrong.
StoredFile checkStore(ByteView file);

} // namespace halvo::test
