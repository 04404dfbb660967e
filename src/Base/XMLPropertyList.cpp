#include "PropertyListForms.h"

#include <Base/Base64.h>
#include <Base/Text.h>
#include <Base/Unicode.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

#include <iconv.h>

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

/// The text in UTF-8, out of any encoding that the C library knows.
std::string converted(std::string_view text, const std::string& encoding) {
    struct Close {
        void operator()(void* handle) const { ::iconv_close(handle); }
    };
    const iconv_t opened = ::iconv_open("UTF-8", encoding.c_str());
    if (opened == reinterpret_cast<iconv_t>(-1)) // NOLINT(performance-no-int-to-ptr): the interface wants it
        refuse("the encoding \"" + encoding + "\" is not known", 1);
    const std::unique_ptr<void, Close> converter(opened);
    std::string result;
    std::string piece(std::size_t{64} << 10, '\0');
    char* from = const_cast<char*>(text.data());
    std::size_t left = text.size();
    while (left > 0) {
        char* to = piece.data();
        std::size_t room = piece.size();
        const std::size_t outcome = ::iconv(converter.get(), &from, &left, &to, &room);
        result.append(piece.data(), to);
        if (outcome == static_cast<std::size_t>(-1) && errno != E2BIG)
            refuse("it is not text in the encoding \"" + encoding + "\"", 1);
    }
    return result;
}

/// A byte-order mark counts before what the text says about itself.
std::string decoded(std::string_view text) {
    if (text.starts_with("\xFE\xFF") || text.starts_with("\xFF\xFE"))
        return converted(text, "UTF-16");
    if (text.starts_with("\xEF\xBB\xBF"))
        return std::string(text.substr(3));
    const std::string_view declaration = text.starts_with("<?xml") ? text.substr(0, text.find("?>")) : "";
    const std::size_t label = declaration.find("encoding");
    const std::size_t open = label == declaration.npos ? label : declaration.find_first_of("\"'", label);
    const std::size_t close = open == declaration.npos ? open : declaration.find(declaration[open], open + 1);
    if (close == declaration.npos)
        return std::string(text);
    const std::string encoding(declaration.substr(open + 1, close - open - 1));
    return lowercased(encoding) == "utf-8" ? std::string(text) : converted(text, encoding);
}

/// Absent for a number that is not a character.
std::optional<std::string> characterOf(std::uint32_t number) {
    if (number > 0x10FFFF)
        return std::nullopt;
    if (number < 0x10000)
        return decodeUTF16(std::u16string(1, static_cast<char16_t>(number)));
    const std::uint32_t above = number - 0x10000;
    const char16_t pair[] = {static_cast<char16_t>(0xD800 | above >> 10),
                             static_cast<char16_t>(0xDC00 | (above & 0x3FF))};
    return decodeUTF16({pair, 2});
}

/// Reads as macOS does, which takes more than XML allows, and apps rely on it: any character as itself or as
/// a reference, "--" in comments, instructions without a name, and whatever follows the first element.
class Reader {
public:
    Reader(ByteView bytes, std::size_t maxContentSize)
        : text(decoded(viewText(bytes))), budget(bytes.size(), maxContentSize) {}

    PropertyList read() {
        const Tag first = nextTag();
        if (first.name != "plist")
            return value(first);
        if (first.isEmpty)
            refuseHere("it holds no value");
        const Tag inner = nextTag();
        if (inner.isClosing)
            refuseHere("it holds no value");
        PropertyList list = value(inner);
        if (!nextTag().isClosing)
            refuseHere("it holds more than one value");
        return list;
    }

private:
    struct Tag {
        std::string_view name{};
        bool isClosing = false;
        bool isEmpty = false; ///< `<dict/>`
    };

    [[noreturn]] void refuseAt(std::size_t place, const std::string& reason) const {
        refuse(reason, 1 + static_cast<int>(std::count(
                               text.begin(), text.begin() + static_cast<std::ptrdiff_t>(place), '\n')));
    }
    [[noreturn]] void refuseHere(const std::string& reason) const { refuseAt(position, reason); }

    bool take(std::string_view expected) {
        const bool isThere = std::string_view(text).substr(position).starts_with(expected);
        position += isThere ? expected.size() : 0;
        return isThere;
    }

    /// What stands before `end`, and moves behind that.
    std::string_view upTo(std::string_view end) {
        const std::size_t found = text.find(end, position);
        if (found == text.npos)
            refuseHere("it is cut off");
        const std::string_view passed = std::string_view(text).substr(position, found - position);
        position = found + end.size();
        return passed;
    }

    /// Passes a comment or an instruction, if one stands here.
    bool skipRemark() {
        if (take("<!--"))
            upTo("-->");
        else if (take("<?"))
            upTo("?>");
        else
            return false;
        return true;
    }

    /// The entities that a document type may define are not looked at: property lists have none.
    bool skipDocumentType() {
        if (!take("<!DOCTYPE"))
            return false;
        const std::size_t start = position;
        if (upTo(">").find('[') != std::string_view::npos) {
            position = start;
            upTo("[");
            upTo("]");
            upTo(">");
        }
        return true;
    }

    Tag nextTag() {
        do
            position = std::min(text.find_first_not_of(" \t\r\n", position), text.size());
        while (skipRemark() || skipDocumentType());
        if (position == text.size())
            refuseHere("it is cut off");
        if (text[position] != '<' || take("<![CDATA["))
            refuseHere("text stands outside of a value");
        ++position;
        Tag tag{.isClosing = take("/")};
        const std::size_t start = position;
        const std::string_view inside = upTo(">");
        tag.isEmpty = !tag.isClosing && inside.ends_with('/');
        tag.name = inside.substr(0, inside.find_first_of(" \t\r\n/"));
        if (tag.name.empty())
            refuseAt(start, "an element has no name");
        return tag;
    }

    void requireClosing(const Tag& tag, std::string_view name) const {
        if (!tag.isClosing || tag.name != name)
            refuseHere("\"" + std::string(name) + "\" is not closed");
    }

    PropertyList value(const Tag& tag) {
        const std::size_t start = position;
        const std::string_view name = tag.name;
        if (tag.isClosing)
            refuseHere("\"" + std::string(name) + "\" is closed where it is not open");
        if (name == "array" || name == "dict") {
            budget.take(0);
            PropertyListBudget::checkDepth(++depth);
            PropertyList container =
                name == "array" ? PropertyList(array(tag)) : PropertyList(dictionary(tag));
            --depth;
            return container;
        }
        if (!isLeaf(name) && name != "key")
            refuseHere("it has an unknown element \"" + std::string(name) + "\"");
        auto leaf = parseLeaf(name == "key" ? "string" : name, content(tag));
        if (!leaf)
            refuseAt(start, "a \"" + std::string(name) + "\" does not hold one");
        return *std::move(leaf);
    }

    PropertyListArray array(const Tag& tag) {
        PropertyListArray elements;
        if (tag.isEmpty)
            return elements;
        for (Tag next = nextTag(); !(next.isClosing && next.name == tag.name); next = nextTag())
            elements.push_back(value(next));
        return elements;
    }

    PropertyListDictionary dictionary(const Tag& tag) {
        PropertyListDictionary entries;
        if (tag.isEmpty)
            return entries;
        for (Tag next = nextTag(); !(next.isClosing && next.name == tag.name); next = nextTag()) {
            if (next.name != "key" || next.isClosing)
                refuseHere("a value in a dictionary has no key");
            std::string key = content(next);
            const Tag held = nextTag();
            if (held.isClosing)
                refuseHere("the key \"" + key + "\" has no value");
            entries.insert_or_assign(std::move(key), value(held));
        }
        return entries;
    }

    /// The text of an element, up to behind its end.
    std::string content(const Tag& tag) {
        const std::size_t start = position;
        std::string result;
        while (!tag.isEmpty) {
            const std::size_t stop = std::min(text.find_first_of("<&", position), text.size());
            result.append(text, position, stop - position);
            position = stop;
            if (take("&")) {
                appendReference(result);
            } else if (take("<![CDATA[")) {
                result += upTo("]]>");
            } else if (!skipRemark()) {
                requireClosing(nextTag(), tag.name);
                break;
            }
        }
        if (!isValidUTF8(result))
            refuseAt(start, "a text is not UTF-8");
        budget.take(result.size());
        return result;
    }

    void appendReference(std::string& result) {
        static constexpr std::pair<std::string_view, char> names[] = {
            {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"apos", '\''}, {"quot", '"'}};
        const std::string_view name =
            std::string_view(text).substr(position, text.find(';', position) - position);
        for (const auto& [known, character] : names)
            if (name == known) {
                position += name.size() + 1;
                result += character;
                return;
            }
        const bool isHexadecimal = name.starts_with("#x");
        const std::string_view digits =
            name.substr(std::min<std::size_t>(name.size(), isHexadecimal ? 2 : 1));
        std::uint32_t number = 0;
        const char* end = digits.data() + digits.size();
        const auto [stop, failed] = std::from_chars(digits.data(), end, number, isHexadecimal ? 16 : 10);
        const auto character = characterOf(number);
        if (!name.starts_with('#') || failed != std::errc() || stop != end || number == 0 || !character)
            refuseHere("\"&" + std::string(name.substr(0, 20)) +
                       "\" is not a reference that property lists have");
        position += name.size() + 1;
        result += *character;
    }

    const std::string text;
    std::size_t position = 0;
    std::size_t depth = 0;
    PropertyListBudget budget;
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
        if (!isValidUTF8(text) || text.find('\0') != std::string_view::npos)
            throw PropertyListError("A text of the property list holds characters that XML cannot hold.");
        std::string result;
        for (const char character : text) {
            switch (character) {
            case '&': result += "&amp;"; break;
            case '<': result += "&lt;"; break;
            case '>': result += "&gt;"; break;
            case '\t':
            case '\n': result += character; break;
            default: // XML has no control characters; macOS takes references to them, and reads back what was
                     // there
                if (static_cast<unsigned char>(character) < 0x20)
                    result += "&#" + std::to_string(character) + ";";
                else
                    result += character;
            }
        }
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
