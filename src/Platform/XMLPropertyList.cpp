#include "PropertyListForms.h"

#include <Base/Base64.h>
#include <Base/Text.h>
#include <Base/Unicode.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>

#include <libxml/xmlreader.h>

namespace halvo {
namespace {

[[noreturn]] void refuse(const std::string& reason, int line) {
    throw PropertyListError("The XML property list is damaged in line " + std::to_string(line) + ": " +
                            reason + ".");
}

/// An integer as Apple's tools read it: decimal or, behind "0x", hexadecimal, with an optional sign.
std::optional<PropertyList> parseXMLInteger(std::string_view text) {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+'))
        text.remove_prefix(1);
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    if (hexadecimal)
        text.remove_prefix(2);
    std::uint64_t magnitude = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, magnitude, hexadecimal ? 16 : 10);
    if (error != std::errc() || stop != end)
        return std::nullopt;
    constexpr std::uint64_t largest = std::numeric_limits<std::int64_t>::max();
    if (negative) {
        if (magnitude > largest + 1)
            return std::nullopt;
        return static_cast<std::int64_t>(0 - magnitude);
    }
    if (magnitude > largest)
        return PropertyList(PropertyListUnsigned{magnitude});
    return static_cast<std::int64_t>(magnitude);
}

std::optional<double> parseXMLReal(std::string_view text) {
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);
    double value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value); // knows "inf", "infinity" and "nan"
    if (error != std::errc() || stop != end)
        return std::nullopt;
    return value;
}

template<typename Value>
std::optional<PropertyList> wrapped(std::optional<Value> value) {
    if (!value)
        return std::nullopt;
    return PropertyList(std::move(*value));
}

/// The value of an element that is neither a container nor empty by nature; absent when the text is none.
std::optional<PropertyList> parseLeaf(std::string_view element, const std::string& text) {
    if (element == "string")
        return text;
    if (element == "true" || element == "false")
        return trimmed(text).empty() ? wrapped(std::optional(element == "true")) : std::nullopt;
    if (element == "integer")
        return parseXMLInteger(trimmed(text));
    if (element == "real")
        return wrapped(parseXMLReal(trimmed(text)));
    if (element == "date")
        return wrapped(parseISO8601(trimmed(text)));
    return wrapped(decodeBase64(text, Base64Reading::ignoringWhitespace)); // "data"
}

bool isLeaf(std::string_view element) {
    for (const char* name : {"string", "true", "false", "integer", "real", "date", "data"})
        if (element == name)
            return true;
    return false;
}

#if LIBXML_VERSION >= 21200
using ErrorPointer = const xmlError*;
#else
using ErrorPointer = xmlError*;
#endif

/// Takes the errors that the library raises outside of any reader (those of encodings), which it would
/// otherwise print, for as long as it lives.
class ErrorReporting {
public:
    ErrorReporting(void (*handler)(void*, ErrorPointer), void* context)
        : oldHandler(xmlStructuredError), oldContext(xmlStructuredErrorContext) {
        xmlSetStructuredErrorFunc(context, handler);
    }
    ErrorReporting(const ErrorReporting&) = delete;
    ErrorReporting& operator=(const ErrorReporting&) = delete;
    ~ErrorReporting() { xmlSetStructuredErrorFunc(oldContext, oldHandler); }

private:
    xmlStructuredErrorFunc oldHandler;
    void* oldContext;
};

/// Walks the nodes one by one with a stack of its own, so that no input decides how deep we call.
class Reader {
public:
    Reader(ByteView bytes, std::size_t maxContentSize)
        : reporting(&Reader::noteError, this),
          reader(xmlReaderForMemory(viewText(bytes).data(), static_cast<int>(bytes.size()), nullptr, nullptr,
                                    XML_PARSE_NONET)),
          budget(bytes.size(), maxContentSize) {
        if (!reader)
            throw std::bad_alloc();
        xmlTextReaderSetStructuredErrorHandler(reader.get(), &Reader::noteError, this);
    }

    PropertyList read() {
        while (next())
            node();
        if (!root)
            refuse("it holds no value", line());
        return std::move(*root);
    }

private:
    struct ReaderDeleter {
        void operator()(xmlTextReader* object) const { xmlFreeTextReader(object); }
    };

    /// A container that is not closed yet.
    struct Open {
        PropertyList container;
        std::optional<std::string> key{}; ///< of the value that comes next in a dictionary
    };

    static void noteError(void* context, ErrorPointer error) {
        auto& first = static_cast<Reader*>(context)->syntaxError;
        if (error->level > XML_ERR_WARNING && !first)
            first = {std::string(trimmed(error->message ? error->message : "unreadable")), error->line};
    }

    /// Moves on; false at the end.
    bool next() {
        const int state = xmlTextReaderRead(reader.get());
        if (syntaxError)
            refuse(syntaxError->message, syntaxError->line);
        if (state < 0)
            refuse("it is no well-formed XML", line());
        return state == 1;
    }

    void node() {
        switch (xmlTextReaderNodeType(reader.get())) {
        case XML_READER_TYPE_ELEMENT: return element(name());
        case XML_READER_TYPE_END_ELEMENT: return endElement(name());
        case XML_READER_TYPE_TEXT:
        case XML_READER_TYPE_CDATA: refuse("text stands outside of a value", line());
        case XML_READER_TYPE_ENTITY_REFERENCE: refuse("it uses an entity of its own", line());
        default: return; // comments, blanks, the document type
        }
    }

    void element(const std::string& element) {
        const bool isEmpty = xmlTextReaderIsEmptyElement(reader.get()) == 1;
        if (element == "plist" && xmlTextReaderDepth(reader.get()) == 0)
            return;
        if (element == "dict" || element == "array") {
            budget.take(0);
            if (element == "dict")
                open.push_back({PropertyList(PropertyListDictionary())});
            else
                open.push_back({PropertyList(PropertyListArray())});
            PropertyListBudget::checkDepth(open.size());
            if (isEmpty)
                close();
        } else if (element == "key") {
            takeKey(isEmpty ? std::string() : text());
        } else if (isLeaf(element)) {
            const int start = line();
            const std::string content = isEmpty ? std::string() : text();
            budget.take(content.size());
            auto value = parseLeaf(element, content);
            if (!value)
                refuse("a \"" + element + "\" does not hold one", start);
            add(std::move(*value));
        } else {
            refuse("it has an unknown element \"" + element + "\"", line());
        }
    }

    void endElement(const std::string& element) {
        if (element == "dict" || element == "array")
            close();
    }

    /// The text of the element that was just entered, up to its end.
    std::string text() {
        std::string content;
        while (next()) {
            switch (xmlTextReaderNodeType(reader.get())) {
            case XML_READER_TYPE_TEXT:
            case XML_READER_TYPE_CDATA:
            case XML_READER_TYPE_WHITESPACE:
            case XML_READER_TYPE_SIGNIFICANT_WHITESPACE:
                content += view(xmlTextReaderConstValue(reader.get()));
                break;
            case XML_READER_TYPE_END_ELEMENT: return content;
            case XML_READER_TYPE_COMMENT:
            case XML_READER_TYPE_PROCESSING_INSTRUCTION: break;
            default: refuse("a value holds an element or an entity", line());
            }
        }
        refuse("it is cut off", line());
    }

    void takeKey(std::string key) {
        if (open.empty() || open.back().container.as<PropertyListDictionary>() == nullptr)
            refuse("a key stands outside of a dictionary", line());
        if (open.back().key)
            refuse("the key \"" + *open.back().key + "\" has no value", line());
        budget.take(key.size());
        open.back().key = std::move(key);
    }

    void close() {
        if (open.back().key)
            refuse("the key \"" + *open.back().key + "\" has no value", line());
        PropertyList finished = std::move(open.back().container);
        open.pop_back();
        add(std::move(finished));
    }

    void add(PropertyList value) {
        if (open.empty()) {
            if (root)
                refuse("it holds more than one value", line());
            root = std::move(value);
        } else if (auto* array = open.back().container.as<PropertyListArray>()) {
            array->push_back(std::move(value));
        } else {
            if (!open.back().key)
                refuse("a value in a dictionary has no key", line());
            auto& dictionary = *open.back().container.as<PropertyListDictionary>();
            dictionary.insert_or_assign(std::move(*open.back().key), std::move(value));
            open.back().key.reset();
        }
    }

    static std::string_view view(const xmlChar* text) {
        return text ? std::string_view(reinterpret_cast<const char*>(text)) : std::string_view();
    }
    std::string name() const { return std::string(view(xmlTextReaderConstName(reader.get()))); }
    int line() const { return xmlTextReaderGetParserLineNumber(reader.get()); }

    struct SyntaxError {
        std::string message;
        int line = 0;
    };

    std::optional<SyntaxError> syntaxError;
    ErrorReporting reporting;
    std::unique_ptr<xmlTextReader, ReaderDeleter> reader;
    PropertyListBudget budget;
    std::vector<Open> open;
    std::optional<PropertyList> root;
};

/// Writes elements, one tab for each container around them.
class Writer {
public:
    void write(const PropertyList& list) {
        std::visit([this](const auto& value) { write(value); }, list.value());
    }
    std::string take() { return std::move(output); }

    void text(std::string_view text) { output += text; }

private:
    static constexpr std::size_t lineLength = 76; ///< of base64, with the tabs before it, which count eight
    static constexpr std::size_t shortestLine = 16;

    void write(bool value) { line(value ? "<true/>" : "<false/>"); }
    void write(std::int64_t value) { element("integer", std::to_string(value)); }
    void write(PropertyListUnsigned value) { element("integer", std::to_string(value.value)); }
    void write(PropertyListUID uid) {
        write(PropertyListDictionary{{"CF$UID", PropertyListUnsigned{uid.value}}});
    }
    void write(const std::string& value) { element("string", escaped(value)); }

    void write(double value) {
        if (std::isnan(value))
            return element("real", "nan");
        if (std::isinf(value))
            return element("real", value > 0 ? "+infinity" : "-infinity");
        char digits[32];
        const auto [end, error] = std::to_chars(std::begin(digits), std::end(digits), value);
        element("real", std::string(digits, end));
    }

    void write(Date value) {
        const int year = civilTime(value).year;
        if (year < 0 || year > 9999)
            throw PropertyListError("A date of the property list lies outside of what XML holds.");
        element("date", formatISO8601(value));
    }

    void write(const Bytes& value) {
        const std::string encoded = encodeBase64(value);
        const std::size_t indentation = 8 * depth;
        std::size_t length =
            indentation + shortestLine < lineLength ? lineLength - indentation : shortestLine;
        length -= length % 4; // whole groups
        line("<data>");
        for (std::size_t start = 0; start < encoded.size(); start += length)
            line(std::string_view(encoded).substr(start, length));
        line("</data>");
    }

    void write(const PropertyListArray& array) {
        if (array.empty())
            return line("<array/>");
        line("<array>");
        ++depth;
        for (const PropertyList& element : array)
            write(element);
        --depth;
        line("</array>");
    }

    void write(const PropertyListDictionary& dictionary) {
        if (dictionary.empty())
            return line("<dict/>");
        line("<dict>");
        ++depth;
        for (const auto& [key, value] : dictionary) {
            element("key", escaped(key));
            write(value);
        }
        --depth;
        line("</dict>");
    }

    void element(std::string_view name, std::string_view content) {
        const std::string tag(name);
        line("<" + tag + ">" + std::string(content) + "</" + tag + ">");
    }

    void line(std::string_view content) {
        output.append(depth, '\t');
        output += content;
        output += '\n';
    }

    static std::string escaped(std::string_view text) {
        static constexpr std::string_view noncharacters[] = {"\xEF\xBF\xBE", "\xEF\xBF\xBF"};
        bool holds = isValidUTF8(text);
        for (const std::string_view character : noncharacters)
            holds = holds && text.find(character) == std::string_view::npos;
        std::string result;
        for (const char character : text) {
            switch (character) {
            case '&': result += "&amp;"; break;
            case '<': result += "&lt;"; break;
            case '>': result += "&gt;"; break;
            case '\r': result += "&#13;"; break; // as itself it would read back as a line feed
            default:
                holds = holds && (static_cast<unsigned char>(character) >= 0x20 || character == '\t' ||
                                  character == '\n');
                result += character;
            }
        }
        if (!holds)
            throw PropertyListError("A text of the property list holds characters that XML cannot hold.");
        return result;
    }

    std::string output;
    std::size_t depth = 0;
};

} // namespace

PropertyList parseXMLPropertyList(ByteView bytes, std::size_t maxContentSize) {
    return Reader(bytes, maxContentSize).read();
}

Bytes writeXMLPropertyList(const PropertyList& list) {
    Writer writer;
    writer.text("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                "<plist version=\"1.0\">\n");
    writer.write(list);
    writer.text("</plist>\n");
    return copyBytes(writer.take());
}

} // namespace halvo
