#include <Appcast/Markdown.h>

#include <Base/Text.h>
#include <Base/Unicode.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <new>
#include <optional>
#include <stdexcept>
#include <vector>

#include <fmt/format.h>
#include <md4c.h>

namespace halvo {
namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

/// UTF-8 without NUL, which md4c does not mark in every place.
std::string readableText(std::string_view text) {
    std::string readable;
    for (const char character : repairedUTF8(text)) {
        if (character == '\0')
            readable += replacementCharacter;
        else
            readable += character;
    }
    return readable;
}

std::string escapedHTML(std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (const char character : text) {
        switch (character) {
        case '&': escaped += "&amp;"; break;
        case '<': escaped += "&lt;"; break;
        case '>': escaped += "&gt;"; break;
        case '"': escaped += "&quot;"; break;
        default: escaped += character;
        }
    }
    return escaped;
}

std::string encodedUTF8(std::uint32_t codePoint) {
    if (codePoint == 0 || codePoint > 0x10FFFF || (codePoint >= 0xD800 && codePoint < 0xE000))
        return std::string(replacementCharacter);
    const auto tail = [&](unsigned shift) { return static_cast<char>(0x80 | ((codePoint >> shift) & 0x3F)); };
    if (codePoint < 0x80)
        return {static_cast<char>(codePoint)};
    if (codePoint < 0x800)
        return {static_cast<char>(0xC0 | (codePoint >> 6)), tail(0)};
    if (codePoint < 0x10000)
        return {static_cast<char>(0xE0 | (codePoint >> 12)), tail(6), tail(0)};
    return {static_cast<char>(0xF0 | (codePoint >> 18)), tail(12), tail(6), tail(0)};
}

/// The character of a numeric entity or of one of the five that XML knows. Any other stays as it is written:
/// in an address nothing may be left for a browser to decode, since "&colon;" would slip past the check.
std::string decodedEntity(std::string_view entity) {
    constexpr std::array<std::pair<std::string_view, std::string_view>, 5> named{
        {{"&amp;", "&"}, {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&apos;", "'"}}};
    for (const auto& [name, character] : named)
        if (entity == name)
            return std::string(character);
    if (!entity.starts_with("&#"))
        return std::string(entity);
    const bool hexadecimal = entity.size() > 2 && (entity[2] == 'x' || entity[2] == 'X');
    const std::string_view digits = entity.substr(hexadecimal ? 3 : 2);
    std::uint32_t codePoint = 0;
    const auto read =
        std::from_chars(digits.data(), digits.data() + digits.size(), codePoint, hexadecimal ? 16 : 10);
    return encodedUTF8(read.ec == std::errc() ? codePoint : 0);
}

/// Calls `take(type, text)` for each piece of an attribute.
template<typename Take>
void forEachPiece(const MD_ATTRIBUTE& attribute, const Take& take) {
    if (attribute.text == nullptr)
        return;
    for (std::size_t index = 0; attribute.substr_offsets[index] < attribute.size; ++index) {
        const MD_OFFSET begin = attribute.substr_offsets[index];
        take(attribute.substr_types[index],
             std::string_view(attribute.text + begin, attribute.substr_offsets[index + 1] - begin));
    }
}

/// The HTML of a text attribute such as a title.
std::string attributeHTML(const MD_ATTRIBUTE& attribute) {
    std::string html;
    forEachPiece(attribute, [&](MD_TEXTTYPE type, std::string_view text) {
        html += type == MD_TEXT_ENTITY ? std::string(text) : escapedHTML(text);
    });
    return html;
}

bool mayBeFollowed(std::string_view address) {
    const std::size_t end = address.find_first_of(":/?#");
    if (end == std::string_view::npos || address[end] != ':')
        return true;
    const std::string scheme = lowercased(address.substr(0, end));
    return scheme == "http" || scheme == "https" || scheme == "mailto";
}

/// The value of an `href` or `src`; absent for an address that nobody may be sent to.
std::optional<std::string> addressHTML(const MD_ATTRIBUTE& attribute) {
    std::string address;
    forEachPiece(attribute, [&](MD_TEXTTYPE type, std::string_view text) {
        address += type == MD_TEXT_ENTITY ? decodedEntity(text) : std::string(text);
    });
    if (!mayBeFollowed(address))
        return std::nullopt;
    constexpr std::string_view kept = "-_.~!*'();/?:@&=+$,#%";
    std::string encoded;
    for (const char character : address) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x80 && (std::isalnum(byte) || kept.find(character) != std::string_view::npos))
            encoded += character;
        else
            encoded += fmt::format("%{:02X}", byte);
    }
    return replacingAll(escapedHTML(encoded), "'", "&#39;");
}

/// Writes HTML as md4c calls it. Exceptions cannot pass through that C code, so they are kept until it
/// returns.
class HTMLRenderer {
public:
    std::string render(const std::string& markdown) {
        if (markdown.size() > std::numeric_limits<MD_SIZE>::max())
            throw std::length_error("The Markdown text is too long.");
        MD_PARSER parser{};
        parser.flags = MD_DIALECT_GITHUB | MD_FLAG_NOHTML;
        parser.enter_block = [](MD_BLOCKTYPE type, void* detail, void* self) {
            return guarded(self, [&](HTMLRenderer& renderer) { renderer.enterBlock(type, detail); });
        };
        parser.leave_block = [](MD_BLOCKTYPE type, void*, void* self) {
            return guarded(self, [&](HTMLRenderer& renderer) { renderer.leaveBlock(type); });
        };
        parser.enter_span = [](MD_SPANTYPE type, void* detail, void* self) {
            return guarded(self, [&](HTMLRenderer& renderer) { renderer.enterSpan(type, detail); });
        };
        parser.leave_span = [](MD_SPANTYPE type, void*, void* self) {
            return guarded(self, [&](HTMLRenderer& renderer) { renderer.leaveSpan(type); });
        };
        parser.text = [](MD_TEXTTYPE type, const MD_CHAR* text, MD_SIZE size, void* self) {
            return guarded(self, [&](HTMLRenderer& renderer) { renderer.text(type, {text, size}); });
        };
        const int result = md_parse(markdown.data(), static_cast<MD_SIZE>(markdown.size()), &parser, this);
        if (failure)
            std::rethrow_exception(failure);
        if (result != 0)
            throw std::bad_alloc(); // md4c has no other reason to give up
        return std::move(html);
    }

private:
    template<typename Action>
    static int guarded(void* self, const Action& action) {
        auto& renderer = *static_cast<HTMLRenderer*>(self);
        try {
            action(renderer);
            return 0;
        } catch (...) {
            renderer.failure = std::current_exception();
            return 1;
        }
    }

    /// Begins a block on a new line, unless the container around it has only just begun.
    void open(std::string_view tag) {
        endSpans();
        if (!html.empty() && !html.ends_with('\n') && !atContainerStart)
            html += '\n';
        html += tag;
        atContainerStart = false;
    }

    void openContainer(std::string_view tag) {
        open(tag);
        atContainerStart = true;
    }

    void append(std::string_view piece) {
        html += piece;
        atContainerStart = false;
    }

    void openList(const MD_BLOCK_OL_DETAIL& detail) {
        open(detail.start == 1 ? std::string("<ol>") : fmt::format("<ol start=\"{}\">", detail.start));
    }

    void openItem(const MD_BLOCK_LI_DETAIL& detail) {
        openContainer("<li>");
        if (detail.is_task)
            html += detail.task_mark == ' ' ? "<input type=\"checkbox\" disabled> "
                                            : "<input type=\"checkbox\" checked disabled> ";
    }

    void openCode(const MD_BLOCK_CODE_DETAIL& detail) {
        const std::string language = attributeHTML(detail.lang);
        open(language.empty() ? std::string("<pre><code>")
                              : "<pre><code class=\"language-" + language + "\">");
    }

    void openCell(std::string_view element, const MD_BLOCK_TD_DETAIL& detail) {
        constexpr std::array<std::string_view, 4> alignments{"", " align=\"left\"", " align=\"center\"",
                                                             " align=\"right\""};
        open(fmt::format("<{}{}>", element, alignments.at(detail.align)));
    }

    void enterBlock(MD_BLOCKTYPE type, void* detail) {
        switch (type) {
        case MD_BLOCK_QUOTE: openContainer("<blockquote>"); break;
        case MD_BLOCK_UL: open("<ul>"); break;
        case MD_BLOCK_OL: openList(*static_cast<MD_BLOCK_OL_DETAIL*>(detail)); break;
        case MD_BLOCK_LI: openItem(*static_cast<MD_BLOCK_LI_DETAIL*>(detail)); break;
        case MD_BLOCK_HR: open("<hr>"); break;
        case MD_BLOCK_H: open(fmt::format("<h{}>", headingLevel = headingOf(detail))); break;
        case MD_BLOCK_CODE: openCode(*static_cast<MD_BLOCK_CODE_DETAIL*>(detail)); break;
        case MD_BLOCK_P: open("<p>"); break;
        case MD_BLOCK_TABLE: open("<table>"); break;
        case MD_BLOCK_THEAD: open("<thead>"); break;
        case MD_BLOCK_TBODY: open("<tbody>"); break;
        case MD_BLOCK_TR: open("<tr>"); break;
        case MD_BLOCK_TH: openCell("th", *static_cast<MD_BLOCK_TD_DETAIL*>(detail)); break;
        case MD_BLOCK_TD: openCell("td", *static_cast<MD_BLOCK_TD_DETAIL*>(detail)); break;
        case MD_BLOCK_DOC:
        case MD_BLOCK_HTML: break; // raw HTML is switched off
        }
    }

    static unsigned headingOf(void* detail) { return static_cast<MD_BLOCK_H_DETAIL*>(detail)->level; }

    void leaveBlock(MD_BLOCKTYPE type) {
        endSpans();
        switch (type) {
        case MD_BLOCK_QUOTE: append("</blockquote>"); break;
        case MD_BLOCK_UL: open("</ul>"); break;
        case MD_BLOCK_OL: open("</ol>"); break;
        case MD_BLOCK_LI: append("</li>"); break;
        case MD_BLOCK_H: append(fmt::format("</h{}>", headingLevel)); break;
        case MD_BLOCK_CODE: append("</code></pre>"); break;
        case MD_BLOCK_P: append("</p>"); break;
        case MD_BLOCK_TABLE: open("</table>"); break;
        case MD_BLOCK_THEAD: open("</thead>"); break;
        case MD_BLOCK_TBODY: open("</tbody>"); break;
        case MD_BLOCK_TR: open("</tr>"); break;
        case MD_BLOCK_TH: append("</th>"); break;
        case MD_BLOCK_TD: append("</td>"); break;
        case MD_BLOCK_HR:
        case MD_BLOCK_DOC:
        case MD_BLOCK_HTML: break;
        }
    }

    void openLink(const MD_SPAN_A_DETAIL& detail) {
        append("<a");
        if (const auto address = addressHTML(detail.href))
            html += " href=\"" + *address + "\"";
        html += titleHTML(detail.title) + ">";
    }

    void openImage(const MD_SPAN_IMG_DETAIL& detail) {
        append("<img");
        if (const auto address = addressHTML(detail.src))
            html += " src=\"" + *address + "\"";
        html += " alt=\"";
    }

    static std::string titleHTML(const MD_ATTRIBUTE& title) {
        const std::string text = attributeHTML(title);
        return text.empty() ? text : " title=\"" + text + "\"";
    }

    /// Writes the beginning of a span and gives its end.
    std::string beginSpan(MD_SPANTYPE type, void* detail) {
        switch (type) {
        case MD_SPAN_EM: append("<em>"); return "</em>";
        case MD_SPAN_STRONG: append("<strong>"); return "</strong>";
        case MD_SPAN_CODE: append("<code>"); return "</code>";
        case MD_SPAN_DEL: append("<del>"); return "</del>";
        case MD_SPAN_A: openLink(*static_cast<MD_SPAN_A_DETAIL*>(detail)); return "</a>";
        case MD_SPAN_IMG: {
            const auto& image = *static_cast<MD_SPAN_IMG_DETAIL*>(detail);
            openImage(image);
            return "\"" + titleHTML(image.title) + ">";
        }
        default: return ""; // the remaining kinds are switched off
        }
    }

    void enterSpan(MD_SPANTYPE type, void* detail) {
        // The text inside an image becomes its `alt`, where there are no spans.
        spans.push_back({type, imageDepth > 0 ? std::string() : beginSpan(type, detail)});
        imageDepth += type == MD_SPAN_IMG;
    }

    /// md4c forgets the end of an emphasis that stands in the address of an image, so spans are ended by the
    /// one around them, or by the block.
    void leaveSpan(MD_SPANTYPE type) {
        const auto isOfType = [&](const Span& span) { return span.type == type; };
        if (std::none_of(spans.begin(), spans.end(), isOfType))
            return;
        while (spans.back().type != type)
            endSpan();
        endSpan();
    }

    void endSpan() {
        imageDepth -= spans.back().type == MD_SPAN_IMG;
        append(spans.back().end);
        spans.pop_back();
    }

    void endSpans() {
        while (!spans.empty())
            endSpan();
    }

    void text(MD_TEXTTYPE type, std::string_view piece) {
        switch (type) {
        case MD_TEXT_BR: append(imageDepth > 0 ? " " : "<br>\n"); break;
        case MD_TEXT_SOFTBR: append(imageDepth > 0 ? " " : "\n"); break;
        case MD_TEXT_ENTITY: append(piece); break;
        default: append(escapedHTML(piece));
        }
    }

    struct Span {
        MD_SPANTYPE type;
        std::string end;
    };

    std::string html;
    std::vector<Span> spans;
    bool atContainerStart = false;
    unsigned headingLevel = 1;
    int imageDepth = 0;
    std::exception_ptr failure;
};

} // namespace

std::string htmlFromMarkdown(std::string_view markdown) {
    return HTMLRenderer().render(readableText(markdown));
}

} // namespace halvo
