#pragma once

#include <Platform/Descriptor.h>

#include <Base/Bytes.h>

#include <filesystem>

namespace halvo::zip {

/// A file that is written under a temporary name beside its destination and takes its place at the end.
class ArchiveOutput {
public:
    /// Throws FileError.
    explicit ArchiveOutput(std::filesystem::path destination);
    ArchiveOutput(const ArchiveOutput&) = delete;
    ArchiveOutput& operator=(const ArchiveOutput&) = delete;
    /// Removes what was written, unless `finish` came through.
    ~ArchiveOutput();

    std::uint64_t position() const { return flushed + buffer.size(); }
    void append(ByteView bytes);
    /// Writes over what was appended before; it must lie before `position()` as a whole.
    void rewrite(std::uint64_t offset, ByteView bytes);
    /// Forgets everything from `offset` on.
    void goBack(std::uint64_t offset);
    /// Syncs and renames.
    void finish();

private:
    void flush();
    void writeAt(std::uint64_t offset, ByteView bytes);

    std::filesystem::path destination;
    std::filesystem::path temporary;
    Descriptor file;
    std::uint64_t flushed = 0; ///< bytes that are in the file already
    Bytes buffer;              ///< those that follow
};

} // namespace halvo::zip
