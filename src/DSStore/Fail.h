#pragma once

#include <DSStore/DSStoreError.h>

namespace halvo::dsstore {

[[noreturn]] inline void failCorrupted(std::string detail) {
    throw Error(Error::CorruptedFile{std::move(detail)});
}
[[noreturn]] inline void failWriting(std::string detail) {
    throw Error(Error::WriteFailed{std::move(detail)});
}

} // namespace halvo::dsstore
