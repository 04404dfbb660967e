#pragma once

#include <Base/Bytes.h>

#include <cstdint>
#include <string>
#include <vector>

namespace halvo::test {

constexpr std::uint32_t arm64 = 0x0100000C;
constexpr std::uint32_t x86_64 = 0x01000007;

struct CodeDirectoryFields {
    std::string identifier = "com.example.Demo";
    std::string team = "ABCDE12345"; ///< empty: none
    std::uint32_t version = 0x20500;
    std::uint32_t flags = 0x10000;
    std::uint8_t hashType = 2;
};

struct SignatureBlob {
    std::uint32_t slot = 0;
    Bytes bytes{};
};

Bytes codeDirectory(const CodeDirectoryFields& fields = {});
/// A payload in the wrapper that CMS messages and tickets have.
Bytes wrapped(ByteView payload);
/// The blobs with their index.
Bytes signature(const std::vector<SignatureBlob>& blobs);

struct MachOLayout {
    std::uint32_t cpuType = arm64;
    bool is64Bit = true;
    bool littleEndian = true;
};

/// A Mach-O file with a few load commands; without signature when that is empty.
Bytes thinMachO(ByteView codeSignature, const MachOLayout& layout = {});

struct ArchitectureFile {
    std::uint32_t cpuType = 0;
    Bytes file{};
};
Bytes universalMachO(const std::vector<ArchitectureFile>& architectures, bool wide = false);

/// Some data and the trailer of a disk image, the signature between them.
Bytes diskImage(ByteView codeSignature);

} // namespace halvo::test
