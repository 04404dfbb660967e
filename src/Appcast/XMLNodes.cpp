#include "XMLNodes.h"

#include <Appcast/AppcastEditorError.h>

#include <Base/Unicode.h>

#include <memory>
#include <new>

namespace halvo {
namespace {

/// libxml2 reads no text node of 10 million bytes or more; escaping makes text longer in the file only.
constexpr std::size_t largestText = std::size_t{8} << 20;

const xmlChar* xml(const std::string& text) { return reinterpret_cast<const xmlChar*>(text.c_str()); }
const xmlChar* xml(const char* text) { return reinterpret_cast<const xmlChar*>(text); }
std::string_view view(const xmlChar* text) {
    return text == nullptr ? std::string_view() : reinterpret_cast<const char*>(text);
}

template<typename Node>
Node* made(Node* node) {
    if (node == nullptr)
        throw std::bad_alloc();
    return node;
}

/// Compares with "prefix:name" without joining the two.
bool isNamed(const xmlNs* ns, const xmlChar* localName, std::string_view name) {
    const std::string_view local = view(localName);
    const std::string_view prefix = ns == nullptr ? std::string_view() : view(ns->prefix);
    if (prefix.empty())
        return name == local;
    return name.size() == prefix.size() + 1 + local.size() && name.starts_with(prefix) &&
           name[prefix.size()] == ':' && name.ends_with(local);
}

struct FreeText {
    void operator()(xmlChar* text) const { xmlFree(text); }
};

bool isNoncharacter(std::string_view character) {
    return character == "\xEF\xBF\xBE" || character == "\xEF\xBF\xBF"; // U+FFFE, U+FFFF
}

bool declares(const xmlNode& element, const xmlChar* prefix) {
    for (const xmlNs* ns = element.nsDef; ns != nullptr; ns = ns->next)
        if (xmlStrEqual(ns->prefix, prefix))
            return true;
    return false;
}

/// Those that `to` declares itself hide the ones of the same prefix, so nothing below refers to these.
void moveNamespaces(xmlNode& from, xmlNode& to) {
    for (xmlNs** link = &from.nsDef; *link != nullptr;) {
        xmlNs* ns = *link;
        if (declares(to, ns->prefix)) {
            link = &ns->next;
            continue;
        }
        *link = ns->next;
        ns->next = to.nsDef;
        to.nsDef = ns;
    }
}

/// Hands a new node to its parent, which frees it from then on.
xmlNode* attach(xmlNode& parent, xmlNode* child) { return made(xmlAddChild(&parent, made(child))); }

} // namespace

bool isElement(const xmlNode& node, std::string_view name) {
    return node.type == XML_ELEMENT_NODE && isNamed(node.ns, node.name, name);
}

bool isBlankText(const xmlNode& node) {
    return node.type == XML_TEXT_NODE &&
           view(node.content).find_first_not_of(" \t\r\n") == std::string_view::npos;
}

xmlNode* firstChild(const xmlNode& parent, std::string_view name) {
    for (xmlNode* child = parent.children; child != nullptr; child = child->next)
        if (isElement(*child, name))
            return child;
    return nullptr;
}

xmlNode* lastElementChild(const xmlNode& parent) {
    xmlNode* child = parent.last;
    while (child != nullptr && child->type != XML_ELEMENT_NODE)
        child = child->prev;
    return child;
}

std::string textOf(const xmlNode& node) {
    const std::unique_ptr<xmlChar, FreeText> text(xmlNodeGetContent(&node));
    return std::string(view(text.get()));
}

std::optional<std::string> childText(const xmlNode& parent, std::string_view name) {
    const xmlNode* child = firstChild(parent, name);
    return child ? std::optional(textOf(*child)) : std::nullopt;
}

std::optional<std::string> attributeText(const xmlNode& element, std::string_view name) {
    for (const xmlAttr* attribute = element.properties; attribute != nullptr; attribute = attribute->next)
        if (isNamed(attribute->ns, attribute->name, name))
            return textOf(*reinterpret_cast<const xmlNode*>(attribute));
    return std::nullopt;
}

std::string writableText(std::string_view text) {
    if (text.size() > largestText)
        throw AppcastXMLError("A text of more than 8 MB does not fit into a feed.", 0);
    const std::string repaired = repairedUTF8(text);
    std::string kept;
    kept.reserve(repaired.size());
    for (std::size_t index = 0; index < repaired.size(); ++index) {
        const auto byte = static_cast<unsigned char>(repaired[index]);
        if (byte == '\r') {
            if (repaired.compare(index, 2, "\r\n") != 0)
                kept += '\n';
        } else if (byte == 0xEF && isNoncharacter(std::string_view(repaired).substr(index, 3))) {
            index += 2;
        } else if (byte >= 0x20 || byte == '\t' || byte == '\n') {
            kept += repaired[index];
        }
    }
    return kept;
}

DetachedNode makeElement(xmlDoc& document, const char* name) {
    return DetachedNode(made(xmlNewDocNode(&document, nullptr, xml(name), nullptr)));
}

xmlNode* appendElement(xmlNode& parent, xmlNs* ns, const char* name) {
    return attach(parent, xmlNewDocNode(parent.doc, ns, xml(name), nullptr));
}

xmlNode* appendElement(xmlNode& parent, xmlNs* ns, const char* name, std::string_view text) {
    xmlNode* element = appendElement(parent, ns, name);
    attach(*element, xmlNewDocText(parent.doc, xml(writableText(text))));
    return element;
}

xmlNode* appendCDATAElement(xmlNode& parent, const char* name, std::string_view text) {
    xmlNode* element = appendElement(parent, nullptr, name);
    const std::string content = writableText(text);
    attach(*element, xmlNewCDataBlock(parent.doc, xml(content), static_cast<int>(content.size())));
    return element;
}

void setAttribute(xmlNode& element, xmlNs* ns, const char* name, std::string_view value) {
    made(xmlNewNsProp(&element, ns, xml(name), xml(writableText(value))));
}

xmlNs* declareNamespace(xmlNode& element, const char* prefix, const char* uri) {
    return made(xmlNewNs(&element, xml(uri), xml(prefix)));
}

void insertBlanksBefore(xmlNode& node, const std::string& blanks) {
    if (!blanks.empty())
        made(xmlAddPrevSibling(&node, made(xmlNewDocText(node.doc, xml(blanks)))));
}

void appendBlanks(xmlNode& parent, const std::string& blanks) {
    if (!blanks.empty())
        attach(parent, xmlNewDocText(parent.doc, xml(blanks)));
}

DetachedNode detach(xmlNode& node) {
    if (node.type == XML_ELEMENT_NODE && node.parent != nullptr && node.parent->type == XML_ELEMENT_NODE)
        moveNamespaces(*node.parent, node);
    xmlUnlinkNode(&node);
    return DetachedNode(&node);
}

} // namespace halvo
