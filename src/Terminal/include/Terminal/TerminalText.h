#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace halvo {

struct Theme;

/// What a part of a text is, not how it looks: the looks are the theme's.
enum class TextStyle {
    plain,
    command,   ///< something to type; in backquotes where there is no colour
    primary,   ///< the value that a sentence is about: an app's name, a version
    secondary, ///< other values: identifiers, addresses
    muted,     ///< notes that may be passed over
    accent,    ///< what the eye should find first: titles of prompts, the chosen option
    success,
    warning,
    danger,
    path,
    section, ///< the title of a section of output
};

/// A text of styled parts, kept apart from its looks until it is rendered for one output.
///
///     "Run " + TerminalText::command("halvo login") + " to authenticate"
///
/// Texts may come from anywhere (a server, a bundle, a tool): control characters are made harmless when the
/// text is rendered, so no part can move the cursor or send an escape sequence.
class TerminalText {
public:
    struct Part {
        TextStyle style = TextStyle::plain;
        std::string text{};
        bool operator==(const Part&) const = default;
    };

    TerminalText() = default;
    // Implicit on purpose: a literal is a text, wherever one is wanted.
    TerminalText(const char* literal) : TerminalText(TextStyle::plain, literal) {}
    TerminalText(std::string literal) : TerminalText(TextStyle::plain, std::move(literal)) {}
    TerminalText(std::string_view literal) : TerminalText(TextStyle::plain, std::string(literal)) {}
    TerminalText(TextStyle style, std::string text);

    static TerminalText command(std::string text) { return {TextStyle::command, std::move(text)}; }
    static TerminalText primary(std::string text) { return {TextStyle::primary, std::move(text)}; }
    static TerminalText secondary(std::string text) { return {TextStyle::secondary, std::move(text)}; }
    static TerminalText muted(std::string text) { return {TextStyle::muted, std::move(text)}; }
    static TerminalText accent(std::string text) { return {TextStyle::accent, std::move(text)}; }
    static TerminalText danger(std::string text) { return {TextStyle::danger, std::move(text)}; }
    static TerminalText path(std::string text) { return {TextStyle::path, std::move(text)}; }
    static TerminalText section(std::string text) { return {TextStyle::section, std::move(text)}; }

    TerminalText& operator+=(const TerminalText& more);
    friend TerminalText operator+(TerminalText left, const TerminalText& right) { return left += right; }
    bool operator==(const TerminalText&) const = default;

    bool empty() const { return content.empty(); }
    const std::vector<Part>& parts() const { return content; }

    /// The text as one string, with the theme's colours or, where there are none, commands in backquotes.
    std::string rendered(const Theme& theme, bool coloured) const;
    /// Without colour: "Run `halvo login` to authenticate".
    std::string plainText() const;

private:
    std::vector<Part> content; ///< none is empty
};

/// The text with nothing in it that a terminal obeys: line breaks and tabs stay (CR LF becomes LF), other
/// control characters become their visible picture (U+2400 to U+2421), marks that reorder text and bytes that
/// are not UTF-8 become U+FFFD.
std::string sanitised(std::string_view text);

/// As `sanitised`, and on one line: runs of line breaks and tabs become one blank.
std::string sanitisedLine(std::string_view text);

} // namespace halvo
