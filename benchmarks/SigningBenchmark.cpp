// Signing an archive against what it cannot do without: two passes of SHA-512 over the same bytes.

#include <Ed25519/PrivateKey.h>

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

namespace halvo {
namespace {

constexpr std::int64_t archiveSize = std::int64_t{256} << 20;

const Bytes& archive() {
    static const Bytes bytes = [] {
        Bytes content(archiveSize);
        std::uint32_t state = 1;
        for (auto& byte : content)
            byte = static_cast<std::uint8_t>((state = state * 1664525 + 1013904223) >> 24);
        return content;
    }();
    return bytes;
}

void countBytes(benchmark::State& state) { state.SetBytesProcessed(state.iterations() * archiveSize); }

void twoPassesOfSHA512(benchmark::State& state) {
    const Bytes& message = archive();
    std::array<std::uint8_t, 64> digest{};
    for (auto _ : state)
        for (int pass = 0; pass < 2; ++pass)
            EVP_Digest(message.data(), message.size(), digest.data(), nullptr, EVP_sha512(), nullptr);
    benchmark::DoNotOptimize(digest);
    countBytes(state);
}

void signing(benchmark::State& state, std::size_t keySize) {
    const Bytes& message = archive();
    const PrivateKey key(Bytes(keySize, 0x42));
    for (auto _ : state)
        benchmark::DoNotOptimize(key.signature(message));
    countBytes(state);
}

void verifying(benchmark::State& state) {
    const Bytes& message = archive();
    const PrivateKey key(Bytes(32, 0x42));
    const PublicKey publicKey = key.publicKey();
    const auto signature = key.signature(message);
    for (auto _ : state)
        benchmark::DoNotOptimize(publicKey.isValidSignature(signature, message));
    countBytes(state);
}

BENCHMARK(twoPassesOfSHA512)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(signing, seed, 32)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(signing, expandedKey, 96)->Unit(benchmark::kMillisecond);
BENCHMARK(verifying)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace halvo
