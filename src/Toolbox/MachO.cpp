#include <Toolbox/MachO.h>

#include <Base/BinaryReader.h>

namespace halvo {
namespace {

// loader.h and fat.h of macOS; magic numbers as a big-endian reader meets them.
constexpr std::uint32_t fatMagic = 0xCAFEBABE;
constexpr std::uint32_t fatMagic64 = 0xCAFEBABF;
constexpr std::uint32_t thinMagic = 0xFEEDFACE;
constexpr std::uint32_t thinMagic64 = 0xFEEDFACF;
constexpr std::uint32_t thinMagicSwapped = 0xCEFAEDFE;
constexpr std::uint32_t thinMagic64Swapped = 0xCFFAEDFE;
constexpr std::uint32_t loadCommandCodeSignature = 0x1D;
/// A Java class file begins like a universal file; where that has its count, Java has its version, 45 or
/// above.
constexpr std::uint32_t fewerThanJava = 30;

constexpr std::uint32_t swapped(std::uint32_t value) {
    return value >> 24 | (value >> 8 & 0xFF00) | (value << 8 & 0xFF0000) | value << 24;
}

/// The words of a thin file, in its own byte order.
class WordReader {
public:
    WordReader(ByteView bytes, bool littleEndian) : reader(bytes), littleEndian(littleEndian) {}
    std::uint32_t word() {
        const std::uint32_t value = reader.readUInt32();
        return littleEndian ? swapped(value) : value;
    }
    ByteView bytes(std::size_t count) { return reader.readBytes(count); }

private:
    BinaryReader reader;
    bool littleEndian;
};

std::uint32_t magicOf(ByteView bytes) { return bytes.size() < 4 ? 0 : BinaryReader(bytes).readUInt32(); }

bool isThin(std::uint32_t magic) {
    return magic == thinMagic || magic == thinMagic64 || magic == thinMagicSwapped ||
           magic == thinMagic64Swapped;
}

bool isLittleEndian(std::uint32_t magic) { return magic == thinMagicSwapped || magic == thinMagic64Swapped; }
bool is64Bit(std::uint32_t magic) { return magic == thinMagic64 || magic == thinMagic64Swapped; }

//   <universal> ::= <magic:u32> <count:u32> <entry>*
//   <entry>     ::= <cputype:u32> <subtype:u32> <offset> <size> <align:u32> [<reserved:u32>]
// with offset and size of 4 bytes, or of 8 and the reserved word in the 64-bit form.
std::vector<MachOSlice> readUniversal(ByteView file, bool wide) {
    BinaryReader reader(file);
    reader.skip(4);
    const std::uint32_t count = reader.readUInt32();
    if (count >= fewerThanJava)
        return {};
    std::vector<MachOSlice> slices;
    for (std::uint32_t index = 0; index < count; ++index) {
        const std::uint32_t cpuType = reader.readUInt32();
        reader.skip(4);
        const std::uint64_t offset = wide ? reader.readUInt64() : reader.readUInt32();
        const std::uint64_t size = wide ? reader.readUInt64() : reader.readUInt32();
        reader.skip(wide ? 8 : 4);
        BinaryReader slice = reader.block(offset, size);
        slices.push_back({cpuType, slice.readBytes(slice.remaining())});
    }
    return slices;
}

} // namespace

std::string architectureName(std::uint32_t cpuType) {
    switch (cpuType) {
    case 7: return "i386";
    case 12: return "arm";
    case 18: return "ppc";
    case 0x01000007: return "x86_64";
    case 0x0100000C: return "arm64";
    case 0x01000012: return "ppc64";
    default: return "cputype " + std::to_string(cpuType);
    }
}

std::vector<MachOSlice> readMachO(ByteView file) {
    const std::uint32_t magic = magicOf(file);
    if (magic == fatMagic || magic == fatMagic64)
        return readUniversal(file, magic == fatMagic64);
    if (!isThin(magic))
        return {};
    WordReader header(file, isLittleEndian(magic));
    header.word();
    return {{header.word(), file}};
}

std::optional<ByteView> findCodeSignature(const MachOSlice& slice) {
    const std::uint32_t magic = magicOf(slice.bytes);
    if (!isThin(magic))
        return std::nullopt;
    WordReader reader(slice.bytes, isLittleEndian(magic));
    constexpr std::size_t wordsBeforeCommandCount = 4; // magic, cputype, subtype, filetype
    reader.bytes(wordsBeforeCommandCount * 4);
    const std::uint32_t commandCount = reader.word();
    const std::uint32_t commandBytes = reader.word();
    reader.bytes(is64Bit(magic) ? 8 : 4); // flags, reserved
    WordReader commands(reader.bytes(commandBytes), isLittleEndian(magic));
    for (std::uint32_t index = 0; index < commandCount; ++index) {
        const std::uint32_t command = commands.word();
        const std::uint32_t size = commands.word();
        if (size < 8)
            throw BinaryReadError(BinaryReadError::Kind::invalidSkip);
        WordReader body(commands.bytes(size - 8), isLittleEndian(magic));
        if (command != loadCommandCodeSignature)
            continue;
        const std::uint32_t offset = body.word();
        const std::uint32_t length = body.word();
        BinaryReader signature = BinaryReader(slice.bytes).block(offset, length);
        return signature.readBytes(length);
    }
    return std::nullopt;
}

} // namespace halvo
