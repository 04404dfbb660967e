#pragma once

#include <Base/Bytes.h>

#include <string>
#include <vector>

namespace halvo::test {

/// One row of tests/data/Ed25519/rfc8032.txt.
struct SignatureVector {
    std::string name;
    Bytes seed;
    Bytes publicKey;
    Bytes message;
    Bytes signature;

    /// The 96-byte form of the same key, expanded by libsodium.
    Bytes expandedKey() const;
};

std::vector<SignatureVector> readSignatureVectors();

/// The row of that name. Throws when there is none.
SignatureVector signatureVector(std::string_view name);

} // namespace halvo::test
