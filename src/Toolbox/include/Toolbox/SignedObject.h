#pragma once

#include <Toolbox/CodeSignature.h>

#include <filesystem>
#include <string>

namespace halvo {

/// What `codesign` says of a path that it cannot describe, without the path.
class SignedObjectError : public Failure {
public:
    using Failure::Failure;
};

/// Something on disk that carries a code signature: a program, a bundle around one, or a disk image.
struct SignedObject {
    std::filesystem::path executable{}; ///< the file with the signature
    std::string format{};               ///< "app bundle with Mach-O universal (x86_64 arm64)"
    CodeSignature signature{};
};

/// Of a universal program, the arm64 part is described, else the x86_64 one, else the first. Throws
/// SignedObjectError, CodeSignatureError, BinaryReadError and FileError.
SignedObject readSignedObject(const std::filesystem::path& path);

/// The lines of `codesign -dvv`, without those that need the sealed resources.
std::string describeSignedObject(const SignedObject& object);

/// Whether a notarization ticket is stapled to a bundle or a disk image. It is not checked. Throws as
/// readSignedObject does, SignedObjectError for what can have none.
bool hasStapledTicket(const std::filesystem::path& path);

} // namespace halvo
