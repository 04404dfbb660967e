#pragma once

#include <Base/Bytes.h>
#include <Base/UUID.h>

namespace halvo {

/// An identifier that follows from the bytes: a UUID of version 8, from their SHA-256. Images that are made
/// of the same content get the same identifiers.
UUID nameUUID(ByteView bytes);

} // namespace halvo
