#include <HFSPlus/BlockSource.h>

#include <HFSPlus/HFSPlusError.h>

#include <cerrno>

#include <unistd.h>

namespace halvo::hfsplus {

void FileSource::read(std::uint64_t offset, std::span<std::uint8_t> into) {
    if (offset > length || into.size() > length - offset)
        throw HFSPlusError(HFSPlusError::ReadPastEnd{length});
    while (!into.empty()) {
        const ssize_t count =
            ::pread(descriptor, into.data(), into.size(), static_cast<off_t>(start + offset));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw HFSPlusError(HFSPlusError::ReadFailed{errno});
        if (count == 0)
            throw HFSPlusError(HFSPlusError::ReadPastEnd{offset});
        into = into.subspan(static_cast<std::size_t>(count));
        offset += static_cast<std::uint64_t>(count);
    }
}

} // namespace halvo::hfsplus
