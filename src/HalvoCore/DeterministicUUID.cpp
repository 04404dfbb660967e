#include <HalvoCore/DeterministicUUID.h>

#include <Base/Bytes.h>
#include <Base/Failure.h>

#include <algorithm>

#include <openssl/evp.h>

namespace halvo::DeterministicUUID {

UUID v5(const UUID& nameSpace, std::string_view name) {
    Bytes input(nameSpace.bytes().begin(), nameSpace.bytes().end());
    const ByteView nameBytes = viewBytes(name);
    input.insert(input.end(), nameBytes.begin(), nameBytes.end());

    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    if (EVP_Digest(input.data(), input.size(), digest, &length, EVP_sha1(), nullptr) != 1)
        throw Failure("OpenSSL could not compute a SHA-1 digest.");
    UUID::Raw raw{};
    std::copy_n(digest, raw.size(), raw.begin());
    raw[6] = static_cast<std::uint8_t>((raw[6] & 0x0F) | 0x50);
    raw[8] = static_cast<std::uint8_t>((raw[8] & 0x3F) | 0x80);
    return UUID(raw);
}

} // namespace halvo::DeterministicUUID
