#include "FeedText.h"

#include "XMLCheck.h"

#include <Appcast/AppcastEditorError.h>

#include <Base/Text.h>
#include <Base/Unicode.h>

#include <algorithm>
#include <charconv>

namespace halvo {
namespace {

/// libxml2 reads no text node of 10 million bytes or more; escaping makes text longer in the file only.
constexpr std::size_t largestText = std::size_t{8} << 20;
constexpr std::string_view blanks = " \t\r\n";

void appendUTF8(std::string& text, std::uint32_t code) {
    const auto add = [&](std::uint32_t byte) { text += static_cast<char>(byte); };
    if (code < 0x80) {
        add(code);
    } else if (code < 0x800) {
        add(0xC0 | code >> 6);
        add(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        add(0xE0 | code >> 12);
        add(0x80 | (code >> 6 & 0x3F));
        add(0x80 | (code & 0x3F));
    } else {
        add(0xF0 | code >> 18);
        add(0x80 | (code >> 12 & 0x3F));
        add(0x80 | (code >> 6 & 0x3F));
        add(0x80 | (code & 0x3F));
    }
}

/// What a reference stands for; `name` is what lies between "&" and ";". No feed declares entities of its
/// own.
void appendReference(std::string& text, std::string_view name) {
    static constexpr std::pair<std::string_view, char> known[] = {
        {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};
    for (const auto& [entity, character] : known)
        if (name == entity) {
            text += character;
            return;
        }
    const bool isHexadecimal = name.starts_with("#x");
    const std::string_view digits = name.substr(std::min<std::size_t>(isHexadecimal ? 2 : 1, name.size()));
    std::uint32_t code = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), code, isHexadecimal ? 16 : 10);
    appendUTF8(text, code);
}

/// Character data with references replaced and line ends as a parser gives them.
void appendDecoded(std::string& text, std::string_view raw, bool isAttribute) {
    for (std::size_t index = 0; index < raw.size(); ++index) {
        const char character = raw[index];
        if (character == '&') {
            const std::size_t end = std::min(raw.find(';', index), raw.size());
            appendReference(text, raw.substr(index + 1, end - index - 1));
            index = end;
        } else if (character == '\r') {
            if (raw.substr(index, 2) != "\r\n")
                text += isAttribute ? ' ' : '\n';
        } else if (isAttribute && (character == '\n' || character == '\t')) {
            text += ' ';
        } else {
            text += character;
        }
    }
}

/// Cuts a text that is known to be well-formed XML without entities into its elements. On any other text it
/// ends, with elements that may make no sense.
class Scanner {
public:
    explicit Scanner(std::string_view text) : text(text) {}

    FeedElement root() {
        while (position < text.size()) {
            const std::size_t start = text.find('<', position);
            if (start == std::string_view::npos)
                break;
            position = start;
            if (!skipMarkup())
                return element(FeedElement::SparklePrefix::unbound);
        }
        return {};
    }

    /// What a place in the content of an element is: behind it, the position.
    bool skipMarkup() {
        const std::string_view rest = text.substr(position);
        if (rest.starts_with("<!--"))
            skipBehind("-->", 4);
        else if (rest.starts_with("<![CDATA["))
            skipBehind("]]>", 9);
        else if (rest.starts_with("<?"))
            skipBehind("?>", 2);
        else if (rest.starts_with("<!"))
            skipDocumentType();
        else
            return false;
        return true;
    }

private:
    struct Binding {
        std::string_view prefix{};
        bool toSparkle = false;
    };

    void skipBehind(std::string_view end, std::size_t from) {
        const std::size_t found = text.find(end, position + from);
        position = found == std::string_view::npos ? text.size() : found + end.size();
    }

    void skipDocumentType() {
        bool inside = false; // of the brackets of an internal subset
        for (position += 2; position < text.size();) {
            const char character = text[position];
            if (character == '"' || character == '\'') {
                const std::size_t end = text.find(character, position + 1);
                position = end == std::string_view::npos ? text.size() : end + 1;
            } else if (text.substr(position).starts_with("<!--")) {
                skipBehind("-->", 4);
            } else if (text.substr(position).starts_with("<?")) {
                skipBehind("?>", 2);
            } else {
                ++position;
                if (character == '[' || character == ']')
                    inside = character == '[';
                else if (character == '>' && !inside)
                    return;
            }
        }
    }

    std::string_view nameAt(std::size_t place) const {
        const std::size_t end = text.find_first_of(" \t\r\n/>=", place);
        return text.substr(place, end == std::string_view::npos ? end : end - place);
    }

    /// At "<" of a start tag; ends behind the element.
    FeedElement element(FeedElement::SparklePrefix sparklePrefix) {
        FeedElement made;
        made.range.begin = position;
        const std::size_t outer = bindings.size();
        made.name.written = nameAt(position + 1);
        position += 1 + made.name.written.size();
        readAttributes(made);
        for (std::size_t index = outer; index < bindings.size(); ++index)
            if (bindings[index].prefix == "sparkle")
                sparklePrefix = bindings[index].toSparkle ? FeedElement::SparklePrefix::boundToSparkle
                                                          : FeedElement::SparklePrefix::boundElsewhere;
        made.sparklePrefix = sparklePrefix;
        resolve(made.name, true);
        for (FeedAttribute& attribute : made.attributes)
            resolve(attribute.name, false);
        const bool isEmpty = text.substr(position).starts_with("/");
        position = std::min(position + (isEmpty ? 2 : 1), text.size());
        made.content = {position, position};
        if (!isEmpty)
            readContent(made);
        made.range.end = position;
        bindings.resize(outer);
        return made;
    }

    void readAttributes(FeedElement& made) {
        for (;;) {
            const std::size_t blank = position;
            position = std::min(text.find_first_not_of(blanks, position), text.size());
            if (position == text.size() || text[position] == '>' || text[position] == '/')
                return;
            FeedAttribute attribute{.name = {.written = nameAt(position)}};
            const std::size_t quote = text.find_first_of("\"'", position);
            const std::size_t end =
                quote == std::string_view::npos ? quote : text.find(text[quote], quote + 1);
            if (end == std::string_view::npos) {
                position = text.size();
                return;
            }
            attribute.value = {quote + 1, end};
            position = end + 1;
            attribute.range = {blank, position};
            if (attribute.name.written.starts_with("xmlns:"))
                bindings.push_back({attribute.name.written.substr(6),
                                    text.substr(quote + 1, end - quote - 1) == sparkleURI});
            else if (attribute.name.written == "xmlns")
                bindings.push_back({"", text.substr(quote + 1, end - quote - 1) == sparkleURI});
            made.attributes.push_back(attribute);
        }
    }

    void resolve(FeedName& name, bool usesDefault) const {
        const std::size_t colon = name.written.find(':');
        const std::string_view prefix =
            colon == std::string_view::npos ? std::string_view() : name.written.substr(0, colon);
        name.isSparkle = prefix == "sparkle";
        if (prefix.empty() && !usesDefault)
            return;
        const auto binding = std::find_if(bindings.rbegin(), bindings.rend(),
                                          [&](const Binding& one) { return one.prefix == prefix; });
        if (binding != bindings.rend() && binding->toSparkle)
            name.isSparkle = true;
    }

    void readContent(FeedElement& parent) {
        while (position < text.size()) {
            position = std::min(text.find('<', position), text.size());
            if (text.substr(position).starts_with("</")) {
                parent.content.end = position;
                skipBehind(">", 2);
                return;
            }
            if (position < text.size() && !skipMarkup())
                parent.children.push_back(element(parent.sparklePrefix));
        }
        parent.content.end = position;
    }

    std::string_view text;
    std::size_t position = 0;
    std::vector<Binding> bindings;
};

bool isNoncharacter(std::string_view character) {
    return character == "\xEF\xBF\xBE" || character == "\xEF\xBF\xBF"; // U+FFFE, U+FFFF
}

} // namespace

bool FeedName::operator==(std::string_view name) const {
    constexpr std::string_view prefix = "sparkle:";
    return isSparkle ? name.starts_with(prefix) && name.substr(prefix.size()) == local() : name == written;
}

const FeedElement* FeedElement::child(std::string_view wanted) const {
    const auto found =
        std::ranges::find_if(children, [&](const FeedElement& one) { return one.name == wanted; });
    return found == children.end() ? nullptr : &*found;
}

std::vector<const FeedElement*> FeedElement::childrenNamed(std::string_view wanted) const {
    std::vector<const FeedElement*> found;
    for (const FeedElement& one : children)
        if (one.name == wanted)
            found.push_back(&one);
    return found;
}

const FeedAttribute* FeedElement::attribute(std::string_view wanted) const {
    const auto found =
        std::ranges::find_if(attributes, [&](const FeedAttribute& one) { return one.name == wanted; });
    return found == attributes.end() ? nullptr : &*found;
}

FeedText FeedText::parse(ByteView bytes) { return FeedText(checkedXML(bytes)); }

FeedText::FeedText(std::string text)
    : content(std::make_unique<const std::string>(std::move(text))),
      rootElement(std::make_unique<const FeedElement>(Scanner(*content).root())) {}

std::string FeedText::textOf(const FeedElement& element) const {
    const std::string_view inside = text(element.content);
    std::string result;
    for (std::size_t place = 0; place < inside.size();) {
        const std::size_t markup = std::min(inside.find('<', place), inside.size());
        appendDecoded(result, inside.substr(place, markup - place), false);
        const std::string_view rest = inside.substr(markup);
        if (rest.empty())
            break;
        std::size_t end = 0;
        if (rest.starts_with("<![CDATA[")) {
            end = std::min(rest.find("]]>"), rest.size());
            result += replacingAll(std::string(rest.substr(9, end - 9)), "\r\n", "\n");
            end += 3;
        } else if (rest.starts_with("<!--")) {
            end = rest.find("-->", 4) + 3;
        } else if (rest.starts_with("<?")) {
            end = rest.find("?>") + 2;
        } else { // a tag; ">" may stand in its attributes
            char quote = 0;
            while (end < rest.size() && (quote != 0 || rest[end] != '>')) {
                if (quote == 0 && (rest[end] == '"' || rest[end] == '\''))
                    quote = rest[end];
                else if (rest[end] == quote)
                    quote = 0;
                ++end;
            }
            ++end;
        }
        place = markup + end;
    }
    return result;
}

std::string FeedText::textOf(const FeedAttribute& attribute) const {
    std::string result;
    appendDecoded(result, text(attribute.value), true);
    return result;
}

std::optional<std::string> FeedText::childText(const FeedElement& parent, std::string_view name) const {
    const FeedElement* child = parent.child(name);
    return child ? std::optional(textOf(*child)) : std::nullopt;
}

std::optional<std::string> FeedText::attributeText(const FeedElement& element, std::string_view name) const {
    const FeedAttribute* attribute = element.attribute(name);
    return attribute ? std::optional(textOf(*attribute)) : std::nullopt;
}

bool TextEdits::write(std::string_view part) const {
    return std::ranges::any_of(edits,
                               [&](const Edit& edit) { return edit.text.find(part) != std::string::npos; });
}

std::string TextEdits::appliedTo(std::string_view text) const {
    std::vector<Edit> ordered = edits;
    // At one place, insertions come before the removal of what follows.
    std::ranges::stable_sort(ordered, {},
                             [](const Edit& edit) { return std::pair(edit.range.begin, edit.range.end); });
    std::string result;
    std::size_t place = 0;
    for (const Edit& edit : ordered) {
        result.append(text.substr(place, edit.range.begin - place)).append(edit.text);
        place = edit.range.end;
    }
    return result.append(text.substr(place));
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

std::string escapedText(std::string_view text) {
    return replacingAll(replacingAll(replacingAll(writableText(text), "&", "&amp;"), "<", "&lt;"), ">",
                        "&gt;");
}

std::string escapedAttribute(std::string_view text) {
    std::string escaped = replacingAll(escapedText(text), "\"", "&quot;");
    return replacingAll(replacingAll(std::move(escaped), "\n", "&#10;"), "\t", "&#9;");
}

std::string cdata(std::string_view text) {
    return "<![CDATA[" + replacingAll(writableText(text), "]]>", "]]]]><![CDATA[>") + "]]>";
}

} // namespace halvo
