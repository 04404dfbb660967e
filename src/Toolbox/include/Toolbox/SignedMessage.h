#pragma once

#include <Base/Bytes.h>

#include <optional>

namespace halvo {

/// The content of CMS signed data (DER or BER). Signatures are not checked. Absent when the bytes are
/// something else or carry no content.
std::optional<Bytes> signedContent(ByteView cms);

} // namespace halvo
