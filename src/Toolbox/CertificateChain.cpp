#include "CertificateChain.h"

#include "OpenSSLHandles.h"

#include <Toolbox/CodeSignature.h>

#include <set>

namespace halvo {
namespace {

constexpr std::size_t longestChain = 16; // Apple's have three

std::string commonName(const X509* certificate) {
    const X509_NAME* subject = ::X509_get_subject_name(certificate);
    const int index = ::X509_NAME_get_index_by_NID(subject, NID_commonName, -1);
    unsigned char* text = nullptr;
    const int length =
        index < 0
            ? -1
            : ::ASN1_STRING_to_UTF8(&text, ::X509_NAME_ENTRY_get_data(::X509_NAME_get_entry(subject, index)));
    if (length < 0)
        return "(unavailable)";
    std::string name(reinterpret_cast<char*>(text), static_cast<std::size_t>(length));
    OPENSSL_free(text);
    return name;
}

template<typename Matches>
X509* findCertificate(const STACK_OF(X509) * certificates, Matches matches) {
    for (int index = 0; index < sk_X509_num(certificates); ++index)
        if (X509* certificate = sk_X509_value(certificates, index); matches(certificate))
            return certificate;
    return nullptr;
}

X509* signerOf(CMS_ContentInfo* message, const STACK_OF(X509) * certificates) {
    const STACK_OF(CMS_SignerInfo)* signers = ::CMS_get0_SignerInfos(message);
    if (sk_CMS_SignerInfo_num(signers) < 1)
        return nullptr;
    CMS_SignerInfo* signer = sk_CMS_SignerInfo_value(signers, 0);
    return findCertificate(certificates, [signer](X509* certificate) {
        return ::CMS_SignerInfo_cert_cmp(signer, certificate) == 0;
    });
}

} // namespace

std::vector<std::string> signerChain(ByteView cms) {
    const CMSHandle message = parseSignedData(cms);
    if (!message)
        throw CodeSignatureError();
    const CertificatesHandle certificates(::CMS_get1_certs(message.get()));
    std::vector<std::string> names;
    std::set<const X509*> seen; // certificates may name each other in a circle
    X509* certificate = signerOf(message.get(), certificates.get());
    while (certificate && names.size() < longestChain && seen.insert(certificate).second) {
        names.push_back(commonName(certificate));
        const X509_NAME* issuer = ::X509_get_issuer_name(certificate);
        certificate = findCertificate(certificates.get(), [issuer](X509* candidate) {
            return ::X509_NAME_cmp(issuer, ::X509_get_subject_name(candidate)) == 0;
        });
    }
    return names;
}

} // namespace halvo
