#pragma once

#include <Base/Bytes.h>

#include <optional>
#include <string>

namespace halvo {

/// The common name of a certificate's subject, as UTF-8. Absent when the bytes are no DER certificate, or it
/// has no such name.
std::optional<std::string> certificateName(ByteView der);

} // namespace halvo
