#include <Ed25519/PrivateKey.h>

#include <Base/Base64.h>
#include <Support/TestData.h>

#include <algorithm>
#include <sstream>

#include <gtest/gtest.h>
#include <sodium/crypto_hash_sha512.h>
#include <sodium/crypto_sign.h>

namespace halvo {
namespace {

/// A row of tests/data/Ed25519/rfc8032.txt.
struct Vector {
    Bytes seed, publicKey, message, signature;

    /// The 96-byte form of the same key, expanded by libsodium.
    Bytes expandedKey() const {
        Bytes expanded(crypto_hash_sha512_BYTES);
        crypto_hash_sha512(expanded.data(), seed.data(), seed.size());
        expanded[0] &= 0xF8;
        expanded[31] = static_cast<std::uint8_t>((expanded[31] & 0x7F) | 0x40);
        expanded.insert(expanded.end(), publicKey.begin(), publicKey.end());
        return expanded;
    }
};

Bytes readHex(const std::string& text) {
    Bytes bytes;
    for (std::size_t index = 0; text != "-" && index + 1 < text.size(); index += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(text.substr(index, 2), nullptr, 16)));
    return bytes;
}

std::vector<Vector> vectors() {
    std::istringstream lines{std::string(viewText(test::readTestData("Ed25519/rfc8032.txt")))};
    std::vector<Vector> rows;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string name, seed, publicKey, message, signature;
        fields >> name >> seed >> publicKey >> message >> signature;
        if (name != "#")
            rows.push_back({readHex(seed), readHex(publicKey), readHex(message), readHex(signature)});
    }
    return rows;
}

Bytes patterned(std::size_t size) {
    Bytes bytes(size);
    for (std::size_t index = 0; index < size; ++index)
        bytes[index] = static_cast<std::uint8_t>(index * 7 + index / 251);
    return bytes;
}

Bytes signatureOf(const PrivateKey& key, ByteView message) {
    const PrivateKey::Signature signature = key.signature(message);
    return {signature.begin(), signature.end()};
}

TEST(PrivateKey, signsTheVectorsOfRFC8032InBothForms) {
    ASSERT_EQ(vectors().size(), 5u);
    for (const Vector& vector : vectors())
        for (const Bytes& raw : {vector.seed, vector.expandedKey()}) {
            const PrivateKey key(raw);
            EXPECT_EQ(key.publicKey().rawRepresentation(), vector.publicKey);
            EXPECT_EQ(key.rawRepresentation(), raw);
            EXPECT_EQ(key.baseEncoding(), encodeBase64(raw));
            if (!vector.message.empty() || raw.size() == 32)
                EXPECT_EQ(signatureOf(key, vector.message), vector.signature);
            else
                EXPECT_THROW(key.signature({}), Ed25519Error);
        }
}

TEST(PrivateKey, agreesWithLibsodiumAroundBlockAndChunkBorders) {
    const Vector vector = vectors()[1];
    Bytes publicKey(crypto_sign_PUBLICKEYBYTES), secretKey(crypto_sign_SECRETKEYBYTES);
    crypto_sign_seed_keypair(publicKey.data(), secretKey.data(), vector.seed.data());
    constexpr std::size_t chunk = std::size_t{4} << 20;
    for (const std::size_t size : {std::size_t{63}, std::size_t{64}, std::size_t{111}, std::size_t{128},
                                   chunk - 1, chunk, chunk + 1, 2 * chunk + 5}) {
        const Bytes message = patterned(size);
        Bytes expected(crypto_sign_BYTES);
        crypto_sign_detached(expected.data(), nullptr, message.data(), message.size(), secretKey.data());
        EXPECT_EQ(signatureOf(PrivateKey(vector.seed), message), expected) << size;
        EXPECT_EQ(signatureOf(PrivateKey(vector.expandedKey()), message), expected) << size;
        EXPECT_TRUE(PublicKey(vector.publicKey).isValidSignature(expected, message)) << size;
    }
}

TEST(PrivateKey, refusesEveryOtherLength) {
    for (const int length : {0, 1, 31, 33, 64, 95, 97, 128})
        try {
            PrivateKey key(Bytes(static_cast<std::size_t>(length), 1));
            ADD_FAILURE() << "took " << length << " bytes";
        } catch (const Ed25519Error& error) {
            EXPECT_EQ(std::get<Ed25519Error::InvalidKeyLength>(error.which).length, length);
        }
}

TEST(PrivateKey, takesTheStoredPublicHalfAsItIs) {
    Bytes mismatched = vectors()[2].expandedKey();
    const Vector other = vectors()[1];
    std::copy(other.publicKey.begin(), other.publicKey.end(), mismatched.begin() + 64);
    const PrivateKey key(mismatched);
    EXPECT_EQ(key.publicKey().rawRepresentation(), other.publicKey);
    EXPECT_FALSE(key.publicKey().isValidSignature(key.signature(other.message), other.message));
}

TEST(PrivateKey, reportsBothPassesAndStopsWhenAsked) {
    const PrivateKey key(vectors()[0].seed);
    const Bytes message = patterned((std::size_t{8} << 20) + 3);
    std::vector<std::uint64_t> steps;
    key.signature(message, {}, [&](std::uint64_t hashed, std::uint64_t total) {
        EXPECT_EQ(total, 2 * message.size());
        steps.push_back(hashed);
    });
    EXPECT_TRUE(std::ranges::is_sorted(steps));
    EXPECT_EQ(steps.back(), 2 * message.size());
    std::stop_source source;
    int calls = 0;
    const auto stop = [&](std::uint64_t, std::uint64_t) { calls += source.request_stop() ? 1 : 10; };
    EXPECT_THROW(key.signature(message, source.get_token(), stop), CancelledError);
    EXPECT_EQ(calls, 1);
}

TEST(SecretBytes, leaveNothingBehind) {
    alignas(PrivateKey) std::array<std::uint8_t, sizeof(PrivateKey)> memory{};
    auto* key = new (memory.data()) PrivateKey(Bytes(32, 0xA5));
    key->~PrivateKey();
    EXPECT_EQ(std::search_n(memory.begin(), memory.end(), 2, 0xA5), memory.end());
}

TEST(PublicKey, refusesEveryOtherSignatureAndMessage) {
    const Vector vector = vectors()[2];
    const PublicKey key(vector.publicKey);
    ASSERT_TRUE(key.isValidSignature(vector.signature, vector.message));
    for (std::size_t bit = 0; bit < vector.signature.size() * 8; ++bit) {
        Bytes damaged = vector.signature;
        damaged[bit / 8] ^= static_cast<std::uint8_t>(1u << (bit % 8));
        EXPECT_FALSE(key.isValidSignature(damaged, vector.message)) << "bit " << bit;
    }
    Bytes longer = vector.signature;
    longer.push_back(0);
    EXPECT_FALSE(key.isValidSignature(longer, vector.message));
    EXPECT_FALSE(key.isValidSignature(ByteView(vector.signature).first(63), vector.message));
    EXPECT_FALSE(key.isValidSignature(vector.signature, ByteView(vector.message).first(1)));
}

TEST(PublicKey, refusesTheSecondNumberThatNamesTheSameResponse) {
    // S and S + L give the same point; only the one below L is a signature (RFC 8032, section 5.1.7).
    Bytes order = readHex("edd3f55c1a631258d69cf7a2def9de14");
    order.resize(31, 0);
    order.push_back(0x10);
    Vector vector = vectors()[1];
    unsigned carry = 0;
    for (std::size_t index = 0; index < order.size(); ++index) {
        carry += vector.signature[32 + index] + order[index];
        vector.signature[32 + index] = static_cast<std::uint8_t>(carry);
        carry >>= 8;
    }
    EXPECT_FALSE(PublicKey(vector.publicKey).isValidSignature(vector.signature, vector.message));
}

TEST(PublicKey, acceptsNoSignatureForAKeyThatAnybodyCanSignFor) {
    // With the neutral element as the key, R = that element and S = 0 satisfy the equation for every message.
    Bytes neutral(32, 0);
    neutral[0] = 1;
    Bytes signature = neutral;
    signature.resize(64, 0);
    EXPECT_FALSE(PublicKey(neutral).isValidSignature(signature, viewBytes("anything")));
    EXPECT_FALSE(PublicKey(Bytes(32, 0xFF)).isValidSignature(signature, viewBytes("anything")));
}

} // namespace
} // namespace halvo
