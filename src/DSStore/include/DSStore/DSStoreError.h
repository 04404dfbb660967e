#pragma once

#include <Base/Failure.h>

namespace halvo::dsstore {

/// Why a store could not be read or written.
class Error : public Failure {
public:
    enum class Case {
        unknownDataType, ///< `detail` is the code of the value
        readFailed,
        plistSerializationFailed,
        writeFailed,
        corruptedFile,
        invalidMagic,
        invalidHeader,
        offsetMismatch,
        invalidBlockAddress,
        invalidBTreeHeader,
        invalidUTF16String,
        fileNotFound,
    };

    /// `detail` belongs to the first five cases; the others have none.
    explicit Error(Case which, std::string detail = {});

    Case which;
    std::string detail; ///< such as "Duplicate record key"
};

} // namespace halvo::dsstore
