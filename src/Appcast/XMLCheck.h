#pragma once

#include <Base/Bytes.h>

#include <string>

namespace halvo {

/// The document as UTF-8: the bytes as they are, or what they say in another encoding, written anew. Nothing
/// outside of the bytes is read and no entity is replaced. Throws AppcastXMLError for what is not well
/// formed, declares entities, is nested deeper than 256 levels or is too large.
std::string checkedXML(ByteView bytes);

} // namespace halvo
