#pragma once

#include <Base/Bytes.h>

#include <limits>
#include <memory>

#include <openssl/cms.h>
#include <openssl/x509.h>

namespace halvo {

struct FreeCMS {
    void operator()(CMS_ContentInfo* message) const { ::CMS_ContentInfo_free(message); }
};
using CMSHandle = std::unique_ptr<CMS_ContentInfo, FreeCMS>;

struct FreeCertificates {
    void operator()(STACK_OF(X509) * certificates) const { sk_X509_pop_free(certificates, X509_free); }
};
using CertificatesHandle = std::unique_ptr<STACK_OF(X509), FreeCertificates>;

/// CMS signed data; null for anything else.
inline CMSHandle parseSignedData(ByteView bytes) {
    if (bytes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        return nullptr;
    const unsigned char* position = bytes.data();
    CMSHandle message(::d2i_CMS_ContentInfo(nullptr, &position, static_cast<long>(bytes.size())));
    if (!message || OBJ_obj2nid(::CMS_get0_type(message.get())) != NID_pkcs7_signed)
        return nullptr;
    return message;
}

} // namespace halvo
