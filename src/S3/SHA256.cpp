#include <S3/SHA256.h>

#include <Base/Failure.h>

#include <openssl/evp.h>
#include <openssl/hmac.h>

namespace halvo {

SHA256Digest sha256(ByteView bytes) {
    SHA256Digest digest;
    if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), nullptr, EVP_sha256(), nullptr) != 1)
        throw Failure("OpenSSL cannot compute SHA-256.");
    return digest;
}

SHA256Digest hmacSHA256(ByteView key, std::string_view message) {
    SHA256Digest digest;
    const ByteView bytes = viewBytes(message);
    if (HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()), bytes.data(), bytes.size(),
             digest.data(), nullptr) == nullptr)
        throw Failure("OpenSSL cannot compute HMAC-SHA-256.");
    return digest;
}

} // namespace halvo
