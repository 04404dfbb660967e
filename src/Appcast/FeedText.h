#pragma once

#include <Base/Bytes.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace halvo {

/// Sparkle's namespace; clients know it by this text alone. The prefix is what Halvo writes.
inline constexpr std::string_view sparkleURI = "http://www.andymatuschak.org/xml-namespaces/sparkle";

/// Part of a text, as offsets: from `begin` up to but not including `end`.
struct TextRange {
    std::size_t begin = 0;
    std::size_t end = 0;
};

/// A name as clients see it: "sparkle:version" for what is in Sparkle's namespace, whatever its prefix, or
/// written with the prefix `sparkle`, whatever that is bound to; as it is written for everything else.
struct FeedName {
    std::string_view written{};
    bool isSparkle = false;

    std::string_view local() const { return written.substr(written.find(':') + 1); }
    bool operator==(std::string_view name) const;
};

struct FeedAttribute {
    FeedName name{};
    TextRange range{}; ///< with the blank in front of the name
    TextRange value{}; ///< between the quotes
};

/// An element, by its places in the text.
struct FeedElement {
    /// What the prefix `sparkle` stands for at this place.
    enum class SparklePrefix { unbound, boundToSparkle, boundElsewhere };

    FeedName name{};
    TextRange range{};   ///< from "<" to behind the last ">"
    TextRange content{}; ///< between the tags; empty and at the end of `range` for "<a/>"
    std::vector<FeedAttribute> attributes{};
    std::vector<FeedElement> children{};
    SparklePrefix sparklePrefix = SparklePrefix::unbound;

    bool isEmptyTag() const { return content.begin == range.end; }
    /// The first child of that name, or null.
    const FeedElement* child(std::string_view name) const;
    std::vector<const FeedElement*> childrenNamed(std::string_view name) const;
    const FeedAttribute* attribute(std::string_view name) const;
};

/// A feed as the text that it is, so that an edit changes its own characters and nothing else.
class FeedText {
public:
    /// Throws AppcastXMLError for what is not well-formed XML, declares entities, is nested deeper than 256
    /// levels or is too large. What is not UTF-8 is turned into it.
    static FeedText parse(ByteView bytes);

    std::string_view text() const { return *content; }
    std::string_view text(TextRange range) const {
        return std::string_view(*content).substr(range.begin, range.end - range.begin);
    }
    const FeedElement& root() const { return *rootElement; }

    /// The text inside an element, that of CDATA and of elements below included, as a parser gives it.
    std::string textOf(const FeedElement& element) const;
    std::string textOf(const FeedAttribute& attribute) const;
    /// The text of the first child of that name.
    std::optional<std::string> childText(const FeedElement& parent, std::string_view name) const;
    std::optional<std::string> attributeText(const FeedElement& element, std::string_view name) const;

private:
    explicit FeedText(std::string text);

    std::unique_ptr<const std::string> content; // views into it outlive a move
    std::unique_ptr<const FeedElement> rootElement;
};

/// Replacements in a text, made together.
class TextEdits {
public:
    /// Ranges must not overlap; insertions at one place keep their order.
    void replace(TextRange range, std::string text) { edits.push_back({range, std::move(text)}); }
    void insert(std::size_t place, std::string text) { replace({place, place}, std::move(text)); }
    void remove(TextRange range) { replace(range, ""); }

    bool isEmpty() const { return edits.empty(); }
    /// Whether `part` stands in a text that is put in.
    bool write(std::string_view part) const;
    std::string appliedTo(std::string_view text) const;

private:
    struct Edit {
        TextRange range{};
        std::string text{};
    };
    std::vector<Edit> edits;
};

/// The text as it may stand in an XML document, without what XML cannot hold: most control characters and the
/// non-characters U+FFFE and U+FFFF. Line ends become LF, and what is not UTF-8 becomes U+FFFD. Throws
/// AppcastXMLError for more than 8 MB, which parsers refuse to read again.
std::string writableText(std::string_view text);
/// The same with markup characters as references, for element content and for double-quoted attributes.
std::string escapedText(std::string_view text);
std::string escapedAttribute(std::string_view text);
/// The same as a CDATA section, split where it holds "]]>".
std::string cdata(std::string_view text);

} // namespace halvo
