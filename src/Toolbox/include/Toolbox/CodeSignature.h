#pragma once

#include <Base/Bytes.h>
#include <Base/Failure.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace halvo {

/// A code signature that is not laid out as one.
class CodeSignatureError : public Failure {
public:
    CodeSignatureError() : Failure("invalid or unsupported format for signature") {}
};

/// What a code signature says of itself. Nothing is verified.
struct CodeSignature {
    std::string identifier{};
    std::optional<std::string> teamIdentifier{};
    std::uint32_t version = 0;           ///< of the code directory, such as 0x20500
    std::uint32_t flags = 0;             ///< 0x2 ad hoc, 0x10000 hardened runtime
    std::uint32_t codeDirectorySize = 0; ///< in bytes
    std::uint32_t codeSlots = 0;
    std::uint32_t specialSlots = 0;
    std::size_t cmsSize = 0;                ///< of the signature proper, in bytes; 0: ad hoc
    std::vector<std::string> authorities{}; ///< common names of the certificates, the signer's first
    bool hasTicket = false;                 ///< a notarization ticket is stapled to it

    bool isAdHoc() const { return cmsSize == 0; }
};

/// Reads a signature from the region where it lies; what follows it there is ignored. Of several code
/// directories the one with the strongest hash counts. Throws CodeSignatureError and BinaryReadError.
CodeSignature readCodeSignature(ByteView region);
/// Whether a ticket is stapled to it, which needs no code directory. Throws as the above.
bool holdsTicket(ByteView region);

/// The signature of a disk image, which its trailer points to; absent when it is unsigned or no disk image.
/// Throws BinaryReadError.
std::optional<ByteView> findDiskImageSignature(ByteView image);
/// Whether the bytes end with the trailer of a disk image.
bool isDiskImage(ByteView file);

} // namespace halvo
