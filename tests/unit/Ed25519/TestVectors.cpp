#include "TestVectors.h"

#include <Support/TestData.h>

#include <sstream>
#include <stdexcept>

#include <sodium/crypto_hash_sha512.h>

namespace halvo::test {
namespace {

Bytes readHex(const std::string& text) {
    Bytes bytes;
    if (text == "-")
        return bytes;
    for (std::size_t index = 0; index + 1 < text.size(); index += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(text.substr(index, 2), nullptr, 16)));
    return bytes;
}

} // namespace

Bytes SignatureVector::expandedKey() const {
    Bytes expanded(crypto_hash_sha512_BYTES);
    crypto_hash_sha512(expanded.data(), seed.data(), seed.size());
    expanded[0] &= 0xF8;
    expanded[31] = static_cast<std::uint8_t>((expanded[31] & 0x7F) | 0x40);
    expanded.insert(expanded.end(), publicKey.begin(), publicKey.end());
    return expanded;
}

std::vector<SignatureVector> readSignatureVectors() {
    const Bytes file = readTestData("Ed25519/rfc8032.txt");
    std::istringstream lines{std::string(viewText(file))};
    std::vector<SignatureVector> vectors;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with('#'))
            continue;
        std::istringstream fields(line);
        std::string name, seed, publicKey, message, signature;
        fields >> name >> seed >> publicKey >> message >> signature;
        vectors.push_back({name, readHex(seed), readHex(publicKey), readHex(message), readHex(signature)});
    }
    return vectors;
}

SignatureVector signatureVector(std::string_view name) {
    for (SignatureVector& vector : readSignatureVectors())
        if (vector.name == name)
            return vector;
    throw std::runtime_error("no such test vector");
}

} // namespace halvo::test
