#pragma once

#include <Base/Bytes.h>

#include <cstdint>
#include <filesystem>
#include <functional>

namespace halvo::hfsplus {

struct FolderItem;

/// Writes into one part of an open file.
class ImageOutput {
public:
    ImageOutput(int descriptor, std::uint64_t start) : descriptor(descriptor), start(start) {}

    /// Makes the file as long as the part needs; never shorter.
    void reserve(std::uint64_t size);
    void write(std::uint64_t offset, ByteView bytes);
    /// Copies a whole file, by the system where it can; `copied` hears of each piece. Throws HFSPlusError
    /// (`Changed`) when it is not the file that was found before.
    void copyFile(std::uint64_t offset, const std::filesystem::path& path, const FolderItem& item,
                  const std::function<void(std::uint64_t)>& copied);

private:
    std::size_t copyPiece(int source, std::uint64_t sourceOffset, std::uint64_t offset, std::uint64_t count,
                          const std::filesystem::path& path);

    int descriptor;
    std::uint64_t start;
    bool systemCopies = true;
    Bytes buffer{};
};

} // namespace halvo::hfsplus
