#pragma once

#include <Base/Bytes.h>

#include <string>
#include <vector>

namespace halvo {

/// The common names of the certificates in CMS signed data (DER or BER), from the signer's up to its root as
/// far as they are there, whatever their order. Trust is not judged. Throws CodeSignatureError for anything
/// else.
std::vector<std::string> signerChain(ByteView cms);

} // namespace halvo
