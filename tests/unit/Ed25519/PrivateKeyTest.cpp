#include "TestVectors.h"

#include <Ed25519/PrivateKey.h>

#include <Base/Base64.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sodium/crypto_sign.h>

namespace halvo {
namespace {

Bytes asBytes(const PrivateKey::Signature& signature) { return {signature.begin(), signature.end()}; }

Bytes patterned(std::size_t size) {
    Bytes bytes(size);
    for (std::size_t index = 0; index < size; ++index)
        bytes[index] = static_cast<std::uint8_t>(index * 7 + index / 251);
    return bytes;
}

TEST(PrivateKey, signsTheVectorsOfRFC8032InBothForms) {
    const auto vectors = test::readSignatureVectors();
    ASSERT_EQ(vectors.size(), 5u);
    for (const auto& vector : vectors) {
        const PrivateKey modern(vector.seed);
        EXPECT_EQ(modern.publicKey().rawRepresentation(), vector.publicKey) << vector.name;
        EXPECT_EQ(asBytes(modern.signature(vector.message)), vector.signature) << vector.name;
        if (vector.message.empty())
            continue;
        const PrivateKey legacy(vector.expandedKey());
        EXPECT_EQ(legacy.publicKey().rawRepresentation(), vector.publicKey) << vector.name;
        EXPECT_EQ(asBytes(legacy.signature(vector.message)), vector.signature) << vector.name;
    }
}

TEST(PrivateKey, agreesWithLibsodiumAroundBlockAndChunkBorders) {
    const auto vector = test::signatureVector("test2");
    Bytes publicKey(crypto_sign_PUBLICKEYBYTES), secretKey(crypto_sign_SECRETKEYBYTES);
    crypto_sign_seed_keypair(publicKey.data(), secretKey.data(), vector.seed.data());
    const PrivateKey modern(vector.seed);
    const PrivateKey legacy(vector.expandedKey());
    constexpr std::size_t chunk = std::size_t{4} << 20;
    for (const std::size_t size :
         {std::size_t{1}, std::size_t{63}, std::size_t{64}, std::size_t{95}, std::size_t{96},
          std::size_t{111}, std::size_t{128}, chunk - 1, chunk, chunk + 1, 2 * chunk + 5}) {
        const Bytes message = patterned(size);
        Bytes expected(crypto_sign_BYTES);
        crypto_sign_detached(expected.data(), nullptr, message.data(), message.size(), secretKey.data());
        EXPECT_EQ(asBytes(modern.signature(message)), expected) << size;
        EXPECT_EQ(asBytes(legacy.signature(message)), expected) << size;
        EXPECT_TRUE(modern.publicKey().isValidSignature(expected, message)) << size;
    }
}

TEST(PrivateKey, tellsItsFormByLengthAndGivesTheSameBytesBack) {
    const auto vector = test::signatureVector("test3");
    const PrivateKey modern(vector.seed);
    EXPECT_EQ(modern.rawRepresentation(), vector.seed);
    EXPECT_EQ(modern.baseEncoding(), encodeBase64(vector.seed));

    const PrivateKey legacy(vector.expandedKey());
    EXPECT_EQ(legacy.rawValue(), vector.expandedKey());
    EXPECT_EQ(legacy.description().size(), 128u);
    EXPECT_NE(legacy.description().back(), '=');
}

TEST(PrivateKey, refusesEveryOtherLength) {
    for (const int length : {0, 1, 31, 33, 64, 95, 97, 128}) {
        const Bytes raw(static_cast<std::size_t>(length), 1);
        EXPECT_FALSE(PrivateKey::fromRawValue(raw)) << length;
        try {
            PrivateKey key(raw);
            ADD_FAILURE() << "took " << length << " bytes";
        } catch (const Ed25519Error& error) {
            EXPECT_EQ(std::get<Ed25519Error::InvalidKeyLength>(error.which).length, length);
            EXPECT_NE(error.description().find(std::to_string(length)), std::string::npos);
        }
    }
    EXPECT_TRUE(PrivateKey::fromRawValue(Bytes(32, 1)));
}

TEST(PrivateKey, signsNothingOnlyWithAModernKey) {
    const auto vector = test::signatureVector("test1");
    try {
        PrivateKey(vector.expandedKey()).signature({});
        ADD_FAILURE() << "signed";
    } catch (const Ed25519Error& error) {
        EXPECT_TRUE(std::holds_alternative<Ed25519Error::SigningFailed>(error.which));
    }
}

TEST(PrivateKey, takesTheStoredPublicHalfAsItIs) {
    const auto vector = test::signatureVector("test2");
    Bytes mismatched = test::signatureVector("test3").expandedKey();
    std::copy(vector.publicKey.begin(), vector.publicKey.end(), mismatched.begin() + 64);
    const PrivateKey key(mismatched);
    EXPECT_EQ(key.publicKey().rawRepresentation(), vector.publicKey);
    EXPECT_EQ(key.signature(vector.message), key.signature(vector.message));
    EXPECT_FALSE(key.publicKey().isValidSignature(key.signature(vector.message), vector.message));
}

TEST(PrivateKey, reportsBothPassesAndStopsWhenAsked) {
    const PrivateKey key(test::signatureVector("test1").seed);
    const Bytes message = patterned((std::size_t{8} << 20) + 3);
    std::vector<std::uint64_t> steps;
    key.signature(message, {}, [&](std::uint64_t hashed, std::uint64_t total) {
        EXPECT_EQ(total, 2 * message.size());
        steps.push_back(hashed);
    });
    EXPECT_TRUE(std::is_sorted(steps.begin(), steps.end()));
    EXPECT_EQ(steps.back(), 2 * message.size());

    std::stop_source source;
    int calls = 0;
    EXPECT_THROW(key.signature(message, source.get_token(),
                               [&](std::uint64_t, std::uint64_t) {
                                   ++calls;
                                   source.request_stop();
                               }),
                 CancelledError);
    EXPECT_EQ(calls, 1);
}

TEST(PrivateKey, standsInJSONAsOneBase64Text) {
    for (const Bytes& raw :
         {test::signatureVector("test2").seed, test::signatureVector("test2").expandedKey()}) {
        const PrivateKey key(raw);
        const nlohmann::json json = key;
        EXPECT_EQ(json, nlohmann::json(encodeBase64(raw)));
        EXPECT_EQ(json.get<PrivateKey>(), key);
        EXPECT_EQ(nlohmann::json(key.publicKey()).get<PublicKey>(), key.publicKey());
    }
    EXPECT_THROW(nlohmann::json("AAAA").get<PrivateKey>(), Ed25519Error);
    EXPECT_THROW(nlohmann::json("not base64!").get<PrivateKey>(), nlohmann::json::exception);
    EXPECT_THROW(nlohmann::json(7).get<PublicKey>(), nlohmann::json::exception);
}

TEST(SecretBytes, leaveNothingBehind) {
    alignas(PrivateKey) std::array<std::uint8_t, sizeof(PrivateKey)> memory{};
    const Bytes seed(32, 0xA5);
    auto* key = new (memory.data()) PrivateKey(seed);
    key->~PrivateKey();
    EXPECT_EQ(std::search_n(memory.begin(), memory.end(), 2, 0xA5), memory.end());
}

} // namespace
} // namespace halvo
