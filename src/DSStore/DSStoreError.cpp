#include "Fail.h"

namespace halvo::dsstore {
namespace {

std::string describe(Error::Case which, const std::string& detail) {
    using enum Error::Case;
    switch (which) {
    case unknownDataType: return "Unknown data type: " + detail;
    case readFailed: return "Read failed: " + detail;
    case plistSerializationFailed: return "Property list serialization failed: " + detail;
    case writeFailed: return "Write failed: " + detail;
    case corruptedFile: return "Corrupted file: " + detail;
    case invalidMagic: return "Invalid file magic number";
    case invalidHeader: return "Invalid file header";
    case offsetMismatch: return "Root block offset mismatch";
    case invalidBlockAddress: return "Invalid block address";
    case invalidBTreeHeader: return "Invalid B-tree header";
    case invalidUTF16String: return "Invalid UTF-16 string encoding";
    case fileNotFound: return "File not found";
    }
    return detail;
}

} // namespace

Error::Error(Case which, std::string detail)
    : Failure(describe(which, detail)), which(which), detail(std::move(detail)) {}

void failCorrupted(std::string detail) { throw Error(Error::Case::corruptedFile, std::move(detail)); }

void failWriting(std::string detail) { throw Error(Error::Case::writeFailed, std::move(detail)); }

} // namespace halvo::dsstore
