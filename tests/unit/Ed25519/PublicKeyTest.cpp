#include "TestVectors.h"

#include <Ed25519/PublicKey.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

TEST(PublicKey, refusesEveryDamagedSignatureAndMessage) {
    const auto vector = test::signatureVector("test3");
    const PublicKey key(vector.publicKey);
    ASSERT_TRUE(key.isValidSignature(vector.signature, vector.message));
    for (std::size_t bit = 0; bit < vector.signature.size() * 8; ++bit) {
        Bytes damaged = vector.signature;
        damaged[bit / 8] ^= static_cast<std::uint8_t>(1u << (bit % 8));
        EXPECT_FALSE(key.isValidSignature(damaged, vector.message)) << "bit " << bit;
    }
    Bytes longer = vector.message;
    longer.push_back(0);
    EXPECT_FALSE(key.isValidSignature(vector.signature, longer));
}

TEST(PublicKey, refusesSignaturesOfAnotherLength) {
    const auto vector = test::signatureVector("test2");
    const PublicKey key(vector.publicKey);
    for (std::size_t length = 0; length < vector.signature.size(); ++length)
        EXPECT_FALSE(key.isValidSignature(ByteView(vector.signature).first(length), vector.message));
    Bytes longer = vector.signature;
    longer.push_back(0);
    EXPECT_FALSE(key.isValidSignature(longer, vector.message));
}

TEST(PublicKey, refusesTheSecondNumberThatNamesTheSameResponse) {
    // S and S + L give the same point; only the one below L is a signature (RFC 8032, section 5.1.7).
    const std::array<std::uint8_t, 32> order{0xed, 0xd3, 0xf5, 0x5c, 0x1a, 0x63, 0x12, 0x58, 0xd6, 0x9c, 0xf7,
                                             0xa2, 0xde, 0xf9, 0xde, 0x14, 0,    0,    0,    0,    0,    0,
                                             0,    0,    0,    0,    0,    0,    0,    0,    0,    0x10};
    auto vector = test::signatureVector("test2");
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
