#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <libxml/tree.h>

namespace halvo {

struct FreeXMLNode {
    void operator()(xmlNode* node) const { xmlFreeNode(node); }
};
/// A node outside of any document, with everything below it.
using DetachedNode = std::unique_ptr<xmlNode, FreeXMLNode>;

// Names are literal here: "sparkle:version" is that text in the document, whatever the prefix stands for.

bool isElement(const xmlNode& node, std::string_view name);
/// A text node of nothing but white space.
bool isBlankText(const xmlNode& node);
xmlNode* firstChild(const xmlNode& parent, std::string_view name);
xmlNode* lastElementChild(const xmlNode& parent);

/// The text inside a node, that of CDATA and of elements below included.
std::string textOf(const xmlNode& node);
/// The text of the first child element of that name.
std::optional<std::string> childText(const xmlNode& parent, std::string_view name);
std::optional<std::string> attributeText(const xmlNode& element, std::string_view name);

/// The text without what XML cannot hold: most control characters and the non-characters U+FFFE and U+FFFF.
/// Line ends become LF, and what is not UTF-8 becomes U+FFFD. Throws AppcastXMLError for more than 8 MB,
/// which parsers refuse to read again.
std::string writableText(std::string_view text);

DetachedNode makeElement(xmlDoc& document, const char* name);
/// Adds it behind the others; `ns` may be null.
xmlNode* appendElement(xmlNode& parent, xmlNs* ns, const char* name);
/// With `writableText` of the text inside.
xmlNode* appendElement(xmlNode& parent, xmlNs* ns, const char* name, std::string_view text);
/// With `writableText` of the text as CDATA inside.
xmlNode* appendCDATAElement(xmlNode& parent, const char* name, std::string_view text);
void setAttribute(xmlNode& element, xmlNs* ns, const char* name, std::string_view value);
xmlNs* declareNamespace(xmlNode& element, const char* prefix, const char* uri);

/// Puts white space in front of a node; empty text adds nothing.
void insertBlanksBefore(xmlNode& node, const std::string& blanks);
void appendBlanks(xmlNode& parent, const std::string& blanks);
/// Takes a node out of its document. Namespaces that its parent declares are declared on it from then on, so
/// that it outlives the parent.
DetachedNode detach(xmlNode& node);

} // namespace halvo
