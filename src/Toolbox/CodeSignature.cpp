#include <Toolbox/CodeSignature.h>

#include "CertificateChain.h"

#include <Base/BinaryReader.h>

#include <algorithm>

namespace halvo {
namespace {

// Blobs of cs_blobs.h, integers big-endian; every length counts magic and length too:
//   <signature> ::= 0xFADE0CC0 <length:u32> <count:u32> (<slot:u32> <offset:u32>)* <blob>*
//   <blob>      ::= <magic:u32> <length:u32> <payload>
constexpr std::uint32_t signatureMagic = 0xFADE0CC0;
constexpr std::uint32_t codeDirectoryMagic = 0xFADE0C02;
constexpr std::uint32_t wrapperMagic = 0xFADE0B01;
constexpr std::uint32_t codeDirectorySlot = 0;
constexpr std::uint32_t firstAlternateDirectorySlot = 0x1000;
constexpr std::uint32_t lastAlternateDirectorySlot = 0x1004;
constexpr std::uint32_t cmsSlot = 0x10000;
constexpr std::uint32_t ticketSlot = 0x10002;
constexpr std::uint32_t mostBlobs =
    64; // real signatures have a dozen; many could name one large blob again and again
constexpr std::uint32_t firstVersionWithTeam = 0x20200;

/// The whole blob at an offset, whatever follows it. `reader` stands at its start.
ByteView readBlob(BinaryReader reader, std::uint32_t offset, std::uint32_t expectedMagic) {
    reader.skip(offset);
    BinaryReader head = reader;
    const std::uint32_t magic = head.readUInt32();
    const std::uint32_t length = head.readUInt32();
    if (magic != expectedMagic || length < 8)
        throw CodeSignatureError();
    return reader.readBytes(length);
}

/// A text that ends with a zero byte inside of the blob.
std::string readText(ByteView blob, std::uint32_t offset) {
    BinaryReader reader(blob);
    reader.skip(offset);
    const ByteView rest = reader.readBytes(reader.remaining());
    const auto end = std::find(rest.begin(), rest.end(), std::uint8_t(0));
    if (end == rest.end())
        throw CodeSignatureError();
    return {rest.begin(), end};
}

struct CodeDirectory {
    CodeSignature fields{};
    std::uint8_t hashType =
        0; ///< 1 SHA-1, 2 SHA-256, 3 SHA-256 cut short, 4 SHA-384: the larger the stronger
};

CodeDirectory readCodeDirectory(ByteView blob) {
    CodeDirectory directory;
    CodeSignature& fields = directory.fields;
    BinaryReader reader(blob);
    reader.skip(4);
    fields.codeDirectorySize = reader.readUInt32();
    fields.version = reader.readUInt32();
    fields.flags = reader.readUInt32();
    reader.skip(4); // offset of the hashes
    const std::uint32_t identifierOffset = reader.readUInt32();
    fields.specialSlots = reader.readUInt32();
    fields.codeSlots = reader.readUInt32();
    reader.skip(5); // code limit, hash size
    directory.hashType = reader.readUInt8();
    reader.skip(2 + 4); // platform, page size, spare
    fields.identifier = readText(blob, identifierOffset);
    if (fields.version >= firstVersionWithTeam) {
        reader.skip(4); // scatter offset
        if (const std::uint32_t teamOffset = reader.readUInt32(); teamOffset != 0)
            fields.teamIdentifier = readText(blob, teamOffset);
    }
    return directory;
}

bool isCodeDirectorySlot(std::uint32_t slot) {
    return slot == codeDirectorySlot ||
           (slot >= firstAlternateDirectorySlot && slot <= lastAlternateDirectorySlot);
}

//   disk image trailer, 512 bytes: "koly" at 0, the signature's offset:u64 at 296 and length:u64 at 304
constexpr std::size_t trailerSize = 512;
constexpr std::uint32_t trailerMagic = 0x6B6F6C79;
constexpr std::size_t signatureField = 296;

/// Calls `visit` with the slot and the offset of every blob, and a reader of all.
template<typename Visit>
void visitBlobs(ByteView region, Visit visit) {
    const BinaryReader whole(readBlob(BinaryReader(region), 0, signatureMagic));
    BinaryReader index = whole;
    index.skip(8);
    const std::uint32_t count = index.readUInt32();
    if (count > mostBlobs)
        throw CodeSignatureError();
    for (std::uint32_t entry = 0; entry < count; ++entry) {
        const std::uint32_t slot = index.readUInt32();
        visit(slot, index.readUInt32(), whole);
    }
}

} // namespace

CodeSignature readCodeSignature(ByteView region) {
    std::optional<CodeDirectory> strongest;
    ByteView cms;
    visitBlobs(region, [&](std::uint32_t slot, std::uint32_t offset, const BinaryReader& whole) {
        if (isCodeDirectorySlot(slot)) {
            const CodeDirectory directory = readCodeDirectory(readBlob(whole, offset, codeDirectoryMagic));
            if (!strongest || directory.hashType > strongest->hashType)
                strongest = directory;
        } else if (slot == cmsSlot) {
            cms = readBlob(whole, offset, wrapperMagic).subspan(8);
        }
    });
    if (!strongest)
        throw CodeSignatureError();
    CodeSignature signature = std::move(strongest->fields);
    signature.cmsSize = cms.size();
    if (!cms.empty())
        signature.authorities = signerChain(cms);
    signature.hasTicket = holdsTicket(region);
    return signature;
}

bool holdsTicket(ByteView region) {
    bool found = false;
    visitBlobs(region, [&](std::uint32_t slot, std::uint32_t offset, const BinaryReader& whole) {
        if (slot == ticketSlot)
            found = !readBlob(whole, offset, wrapperMagic).subspan(8).empty();
    });
    return found;
}

bool isDiskImage(ByteView file) {
    return file.size() >= trailerSize && BinaryReader(file.last(trailerSize)).readUInt32() == trailerMagic;
}

std::optional<ByteView> findDiskImageSignature(ByteView image) {
    if (!isDiskImage(image))
        return std::nullopt;
    BinaryReader trailer(image.last(trailerSize));
    trailer.skip(signatureField);
    const std::uint64_t offset = trailer.readUInt64();
    const std::uint64_t length = trailer.readUInt64();
    if (length == 0)
        return std::nullopt;
    BinaryReader signature = BinaryReader(image).block(offset, length);
    return signature.readBytes(signature.remaining());
}

} // namespace halvo
