#include "XMLCheck.h"

#include <Appcast/AppcastEditor.h>

#include <Base/Text.h>
#include <Base/Unicode.h>

#include <memory>
#include <mutex>
#include <new>
#include <optional>

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlsave.h>

namespace halvo {
namespace {

constexpr std::size_t longestProblem = 200;

struct FreeXMLDocument {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
using XMLDocument = std::unique_ptr<xmlDoc, FreeXMLDocument>;

struct Problem {
    std::string text;
    int line = 0;
};

/// Hands what the library says outside of any document, such as a failed conversion, to `handler` and not to
/// standard error, on this thread and while the object lives.
class ThreadErrors {
public:
    ThreadErrors(void* context, xmlStructuredErrorFunc handler)
        : previous(xmlStructuredError), previousContext(xmlStructuredErrorContext) {
        xmlSetStructuredErrorFunc(context, handler);
    }
    ThreadErrors(const ThreadErrors&) = delete;
    ThreadErrors& operator=(const ThreadErrors&) = delete;
    ~ThreadErrors() { xmlSetStructuredErrorFunc(previousContext, previous); }

private:
    xmlStructuredErrorFunc previous;
    void* previousContext;
};

/// One parse; the parser's own state points back here.
class Parser {
public:
    Parser() : context(xmlNewParserCtxt()) {
        if (!context)
            throw std::bad_alloc();
        context->_private = this;
        context->sax->serror = [](void* parser, xmlError* error) { of(parser).note(*error); };
        context->sax->entityDecl = [](void* parser, const xmlChar*, int, const xmlChar*, const xmlChar*,
                                      xmlChar*) { of(parser).refuseEntity(); };
        context->sax->unparsedEntityDecl = [](void* parser, const xmlChar*, const xmlChar*, const xmlChar*,
                                              const xmlChar*) { of(parser).refuseEntity(); };
    }

    XMLDocument parse(ByteView bytes) {
        const ThreadErrors errors(
            this, [](void* self, xmlError* error) { static_cast<Parser*>(self)->note(*error); });
        XMLDocument document(xmlCtxtReadMemory(context.get(), reinterpret_cast<const char*>(bytes.data()),
                                               static_cast<int>(bytes.size()), nullptr, nullptr,
                                               XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
        if (problem)
            throw AppcastXMLError(problem->text, problem->line);
        if (!document)
            throw AppcastXMLError("It is not well-formed XML.", 0);
        return document;
    }

private:
    struct Free {
        void operator()(xmlParserCtxt* context) const { xmlFreeParserCtxt(context); }
    };

    static Parser& of(void* context) {
        return *static_cast<Parser*>(static_cast<xmlParserCtxt*>(context)->_private);
    }

    /// The first fatal error is the cause; what follows it is noise. Prefixes that are not declared are no
    /// fault here, since names count as they are written.
    void note(const xmlError& error) {
        if (problem || error.level != XML_ERR_FATAL)
            return;
        const std::string message(trimmed(error.message == nullptr ? "" : error.message));
        problem = {"It is not well-formed XML: " + repairedUTF8(message.substr(0, longestProblem)),
                   error.line};
    }

    void refuseEntity() {
        if (!problem)
            problem = {"Its document type declares an entity, and feeds with entities are not taken.",
                       context->input == nullptr ? 0 : context->input->line};
        xmlStopParser(context.get());
    }

    std::unique_ptr<xmlParserCtxt, Free> context;
    std::optional<Problem> problem;
};

struct FreeBuffer {
    void operator()(xmlBuffer* buffer) const { xmlBufferFree(buffer); }
};

void checkSize(std::size_t size) {
    if (size > AppcastEditor::largestDocument)
        throw AppcastXMLError("It has " + formatByteCount(size) + "; the most that is taken is " +
                                  formatByteCount(AppcastEditor::largestDocument) + ".",
                              0);
}

std::string writtenAsUTF8(xmlDoc& document) {
    const std::unique_ptr<xmlBuffer, FreeBuffer> buffer(xmlBufferCreate());
    if (buffer) // by default it copies on each write
        xmlBufferSetAllocationScheme(buffer.get(), XML_BUFFER_ALLOC_DOUBLEIT);
    // Without XML_SAVE_NO_XHTML, a document type of XHTML would change the syntax of every element.
    xmlSaveCtxt* saving =
        buffer ? xmlSaveToBuffer(buffer.get(), "utf-8", XML_SAVE_AS_XML | XML_SAVE_NO_XHTML) : nullptr;
    if (saving == nullptr)
        throw std::bad_alloc();
    const long written = xmlSaveDoc(saving, &document);
    const int closed = xmlSaveClose(saving);
    if (written < 0 || closed < 0)
        throw AppcastXMLError("It could not be written as XML.", 0);
    const auto size = static_cast<std::size_t>(xmlBufferLength(buffer.get()));
    checkSize(size);
    return {reinterpret_cast<const char*>(xmlBufferContent(buffer.get())), size};
}

/// A document that declares nothing is UTF-8, unless its first bytes show the wide characters of UTF-16 or
/// -32.
bool isUTF8(const xmlDoc& document, std::string_view text) {
    if (text.substr(0, 4).find('\0') != std::string_view::npos || text.starts_with("\xFE\xFF") ||
        text.starts_with("\xFF\xFE"))
        return false;
    if (document.encoding == nullptr)
        return true;
    const std::string declared = lowercased(reinterpret_cast<const char*>(document.encoding));
    return declared == "utf-8" || declared == "us-ascii" || declared == "ascii";
}

} // namespace

std::string checkedXML(ByteView bytes) {
    static std::once_flag started;
    std::call_once(started, xmlInitParser);
    checkSize(bytes.size());
    const XMLDocument document = Parser().parse(bytes);
    return isUTF8(*document, viewText(bytes)) ? std::string(viewText(bytes)) : writtenAsUTF8(*document);
}

} // namespace halvo
