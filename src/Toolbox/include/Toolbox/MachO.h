#pragma once

#include <Base/Bytes.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace halvo {

/// One architecture of a Mach-O file. The bytes belong to the file.
struct MachOSlice {
    std::uint32_t cpuType = 0;
    ByteView bytes{};
};

/// "arm64", "x86_64", "i386" ...; "cputype N" for one without a name here.
std::string architectureName(std::uint32_t cpuType);

/// The architectures of a thin or universal (fat) file of either byte order, in their order. Empty when the
/// bytes are no Mach-O. Throws BinaryReadError when a slice does not lie within them.
std::vector<MachOSlice> readMachO(ByteView file);

/// Where the code signature of a slice lies, which may be followed by padding; absent when it is unsigned.
/// Throws BinaryReadError when load commands or signature do not lie within the slice.
std::optional<ByteView> findCodeSignature(const MachOSlice& slice);

} // namespace halvo
