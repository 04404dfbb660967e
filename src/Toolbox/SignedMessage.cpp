#include <Toolbox/SignedMessage.h>

#include "OpenSSLHandles.h"

namespace halvo {

std::optional<Bytes> signedContent(ByteView cms) {
    const CMSHandle message = parseSignedData(cms);
    ASN1_OCTET_STRING** content = message ? ::CMS_get0_content(message.get()) : nullptr;
    if (!content || !*content)
        return std::nullopt;
    const unsigned char* data = ::ASN1_STRING_get0_data(*content);
    return Bytes(data, data + ::ASN1_STRING_length(*content));
}

} // namespace halvo
