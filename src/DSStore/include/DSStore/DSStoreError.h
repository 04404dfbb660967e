#pragma once

#include <Base/Failure.h>

#include <string>
#include <variant>

namespace halvo::dsstore {

/// Why a store could not be read or written.
struct ErrorCases {
    struct UnknownDataType {
        std::string code{}; ///< of the value
        std::string description() const { return "Unknown data type: " + code; }
    };
    struct ReadFailed {
        std::string detail{};
        std::string description() const { return "Read failed: " + detail; }
    };
    struct PlistSerializationFailed {
        std::string detail{};
        std::string description() const { return "Property list serialization failed: " + detail; }
    };
    struct WriteFailed {
        std::string detail{}; ///< such as "Duplicate record key"
        std::string description() const { return "Write failed: " + detail; }
    };
    struct CorruptedFile {
        std::string detail{};
        std::string description() const { return "Corrupted file: " + detail; }
    };
    struct InvalidMagic {
        std::string description() const { return "Invalid file magic number"; }
    };
    struct InvalidHeader {
        std::string description() const { return "Invalid file header"; }
    };
    struct OffsetMismatch {
        std::string description() const { return "Root block offset mismatch"; }
    };
    struct InvalidBlockAddress {
        std::string description() const { return "Invalid block address"; }
    };
    struct InvalidBTreeHeader {
        std::string description() const { return "Invalid B-tree header"; }
    };
    struct InvalidUTF16String {
        std::string description() const { return "Invalid UTF-16 string encoding"; }
    };
    struct FileNotFound {
        std::string description() const { return "File not found"; }
    };
    using Case = std::variant<UnknownDataType, ReadFailed, PlistSerializationFailed, WriteFailed,
                              CorruptedFile, InvalidMagic, InvalidHeader, OffsetMismatch, InvalidBlockAddress,
                              InvalidBTreeHeader, InvalidUTF16String, FileNotFound>;
};
using Error = FailureOf<ErrorCases>;

} // namespace halvo::dsstore
