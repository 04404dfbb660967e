#pragma once

#include <Base/Bytes.h>

#include <memory>
#include <string>

#include <libxml/tree.h>

namespace halvo {

struct FreeXMLDocument {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
using XMLDocument = std::unique_ptr<xmlDoc, FreeXMLDocument>;

/// Reads a document with everything in it kept: comments, CDATA, blanks. Nothing outside of the bytes is read
/// and no entity is replaced. Throws AppcastXMLError for what is not well formed and for a document type that
/// declares entities.
XMLDocument parseXML(ByteView bytes);

/// The document as UTF-8 with an XML declaration that says so. Throws AppcastXMLError when the result would
/// be too large to be read again.
std::string serializedXML(xmlDoc& document);

} // namespace halvo
