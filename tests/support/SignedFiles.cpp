#include <Support/SignedFiles.h>

#include <Base/BinaryWriter.h>

#include <algorithm>

namespace halvo::test {
namespace {

/// Words in the byte order of the file.
class WordWriter {
public:
    explicit WordWriter(bool littleEndian) : littleEndian(littleEndian) {}
    void words(const std::vector<std::uint32_t>& values) {
        for (const std::uint32_t value : values) {
            BinaryWriter word;
            word.writeUInt32(value);
            Bytes bytes = word.take();
            if (littleEndian)
                std::reverse(bytes.begin(), bytes.end());
            writer.writeBytes(bytes);
        }
    }
    BinaryWriter writer;

private:
    bool littleEndian;
};

} // namespace

Bytes codeDirectory(const CodeDirectoryFields& fields) {
    constexpr std::uint32_t headSize = 88;
    const auto identifierOffset = headSize;
    const auto teamOffset = static_cast<std::uint32_t>(headSize + fields.identifier.size() + 1);
    const auto length =
        teamOffset + (fields.team.empty() ? 0 : static_cast<std::uint32_t>(fields.team.size() + 1));
    BinaryWriter writer;
    for (const std::uint32_t value : {0xFADE0C02u, length, fields.version, fields.flags, length,
                                      identifierOffset, 7u /* special */, 28u /* code */, 0x4000u})
        writer.writeUInt32(value);
    for (const std::uint8_t value : {std::uint8_t(32), fields.hashType, std::uint8_t(0), std::uint8_t(12)})
        writer.writeUInt8(value);
    writer.writeZeros(8);
    writer.writeUInt32(fields.team.empty() ? 0 : teamOffset);
    writer.writePadding(headSize);
    writer.writeText(fields.identifier + '\0');
    if (!fields.team.empty())
        writer.writeText(fields.team + '\0');
    return writer.take();
}

Bytes wrapped(ByteView payload) {
    BinaryWriter writer;
    writer.writeUInt32(0xFADE0B01);
    writer.writeUInt32(static_cast<std::uint32_t>(payload.size() + 8));
    writer.writeBytes(payload);
    return writer.take();
}

Bytes signature(const std::vector<SignatureBlob>& blobs) {
    BinaryWriter index;
    BinaryWriter body;
    const std::size_t start = 12 + 8 * blobs.size();
    for (const SignatureBlob& blob : blobs) {
        index.writeUInt32(blob.slot);
        index.writeUInt32(static_cast<std::uint32_t>(start + body.size()));
        body.writeBytes(blob.bytes);
    }
    BinaryWriter whole;
    whole.writeUInt32(0xFADE0CC0);
    whole.writeUInt32(static_cast<std::uint32_t>(start + body.size()));
    whole.writeUInt32(static_cast<std::uint32_t>(blobs.size()));
    whole.writeBytes(index.bytes());
    whole.writeBytes(body.bytes());
    return whole.take();
}

Bytes thinMachO(ByteView codeSignature, const MachOLayout& layout) {
    const std::uint32_t headSize = layout.is64Bit ? 32 : 28;
    const bool isSigned = !codeSignature.empty();
    const std::uint32_t commandBytes = isSigned ? 40 : 24;
    const std::uint32_t offset = headSize + commandBytes + 64;
    WordWriter file(layout.littleEndian);
    file.words({layout.is64Bit ? 0xFEEDFACF : 0xFEEDFACE, layout.cpuType, 0, 2, isSigned ? 2u : 1u,
                commandBytes, 0});
    if (layout.is64Bit)
        file.words({0});
    file.words({0x1B, 24, 1, 2, 3, 4}); // the UUID of the program
    if (isSigned)                       // padding behind the signature, as in real files
        file.words({0x1D, 16, offset, static_cast<std::uint32_t>(codeSignature.size() + 16)});
    file.writer.writePadding(offset);
    file.writer.writeBytes(codeSignature);
    file.writer.writeZeros(16);
    return file.writer.take();
}

Bytes universalMachO(const std::vector<ArchitectureFile>& architectures, bool wide) {
    BinaryWriter writer;
    BinaryWriter body;
    const std::size_t start = 8 + architectures.size() * (wide ? 32 : 20);
    writer.writeUInt32(wide ? 0xCAFEBABF : 0xCAFEBABE);
    writer.writeUInt32(static_cast<std::uint32_t>(architectures.size()));
    for (const ArchitectureFile& architecture : architectures) {
        writer.writeUInt32(architecture.cpuType);
        writer.writeUInt32(0);
        for (const std::size_t value : {start + body.size(), architecture.file.size()}) {
            if (wide)
                writer.writeUInt64(value);
            else
                writer.writeUInt32(static_cast<std::uint32_t>(value));
        }
        writer.writeZeros(wide ? 8 : 4);
        body.writeBytes(architecture.file);
    }
    writer.writeBytes(body.bytes());
    return writer.take();
}

Bytes diskImage(ByteView codeSignature) {
    constexpr std::size_t dataSize = 100;
    BinaryWriter writer;
    writer.writeZeros(dataSize);
    writer.writeBytes(codeSignature);
    const std::size_t trailer = writer.size();
    writer.writeText("koly");
    writer.writePadding(trailer + 296);
    writer.writeUInt64(codeSignature.empty() ? 0 : dataSize);
    writer.writeUInt64(codeSignature.size());
    writer.writePadding(trailer + 512);
    return writer.take();
}

} // namespace halvo::test
