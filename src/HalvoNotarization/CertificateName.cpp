#include "CertificateName.h"

#include <memory>

#include <openssl/x509.h>

namespace halvo {

std::optional<std::string> certificateName(ByteView der) {
    const unsigned char* position = der.data();
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(
        ::d2i_X509(nullptr, &position, static_cast<long>(der.size())), &X509_free);
    if (!certificate)
        return std::nullopt;
    const X509_NAME* subject = ::X509_get_subject_name(certificate.get());
    const int index = ::X509_NAME_get_index_by_NID(subject, NID_commonName, -1);
    if (index < 0)
        return std::nullopt;
    unsigned char* text = nullptr;
    const int length =
        ::ASN1_STRING_to_UTF8(&text, ::X509_NAME_ENTRY_get_data(::X509_NAME_get_entry(subject, index)));
    if (length < 0)
        return std::nullopt;
    std::string name(reinterpret_cast<char*>(text), static_cast<std::size_t>(length));
    OPENSSL_free(text);
    return name;
}

} // namespace halvo
