#include <Terminal/Prompts.h>

#include <Terminal/Terminal.h>

#include "LineEditor.h"
#include "PromptSession.h"

#include <algorithm>
#include <stdexcept>
#include <system_error>

#include <fmt/format.h>

namespace halvo {
namespace {

using Picture = PromptSession::Picture;

constexpr std::string_view marker = "\u276F ";
constexpr std::string_view noMarker = "  ";
constexpr std::string_view answeredSymbol = "\u2714 ";

/// What every question starts with: title, question and description.
struct Heading {
    const std::optional<TerminalText>& title;
    const TerminalText& question;
    const std::optional<TerminalText>& description;

    std::string name() const { return sanitisedLine(question.plainText()); }
    /// What is left of the prompt when it collapses.
    TerminalText label() const { return title ? *title + ":" : question; }

    void append(Picture& picture, const Painter& painter, std::size_t width) const {
        const auto appendText = [&](const TerminalText& text, TextStyle style) {
            Runs runs = painter.prepared(text);
            for (auto& run : runs) {
                if (run.style == TextStyle::plain)
                    run.style = style;
            }
            for (const Runs& line : wrapped(runs, width))
                picture.lines.push_back(painter.painted(line));
        };
        if (title)
            appendText(*title, TextStyle::accent);
        appendText(question, TextStyle::plain);
        if (description)
            appendText(*description, TextStyle::muted);
    }
};

std::string collapsedLine(const Painter& painter, const Heading& heading, TextStyle style,
                          const TerminalText& answer) {
    Runs runs{{TextStyle::accent, std::string(answeredSymbol)}};
    for (const auto& part : painter.preparedLine(heading.label()))
        runs.push_back(part);
    runs.push_back({TextStyle::plain, " "});
    for (auto& part : painter.preparedLine(answer))
        runs.push_back({part.style == TextStyle::plain ? style : part.style, std::move(part.text)});
    return painter.painted(runs);
}

OutputPipeline& conversationFor(const Screen& screen, const InputSource& input, const Heading& heading,
                                const std::string& hint) {
    OutputPipeline* output = screen.conversation();
    if (output == nullptr || !input.interactive())
        throw PromptError(PromptError::NotInteractive{heading.name(), hint});
    return *output;
}

Picture yesOrNoPicture(const PromptSession& session, const Heading& heading, bool yes) {
    const Painter painter = session.painter();
    const std::size_t width = session.room().width;
    Picture picture;
    heading.append(picture, painter, width);
    const auto choice = [&](bool chosen, const char* name) {
        return TerminalText::Part{chosen ? TextStyle::accent : TextStyle::plain,
                                  std::string(chosen ? marker : noMarker) + name};
    };
    const Runs choices{choice(yes, "Yes"),
                       {TextStyle::plain, "  "},
                       choice(!yes, "No"),
                       {TextStyle::muted, "   y/n, Enter"}};
    picture.lines.push_back(painter.painted(truncated(choices, width)));
    picture.cursorLine = picture.lines.size() - 1;
    return picture;
}

Picture textPicture(const PromptSession& session, const Heading& heading, const LineEditor& editor,
                    const TextQuestion& question, const std::optional<std::string>& complaint) {
    const Painter painter = session.painter();
    const std::size_t width = session.room().width;
    Picture picture;
    heading.append(picture, painter, width);

    const std::size_t markerWidth = noMarker.size();
    const std::size_t forText = width > markerWidth ? width - markerWidth : 1;
    const LineEditor::View view = editor.view(forText, question.secure);
    Runs line{{TextStyle::accent, std::string(marker)}};
    if (editor.text().empty() && question.defaultValue && !question.secure) {
        const Runs shown = painter.preparedLine(TerminalText::muted(*question.defaultValue));
        for (const auto& run : truncated(shown, forText))
            line.push_back(run);
    } else {
        line.push_back({TextStyle::plain, view.text});
    }
    picture.cursorLine = picture.lines.size();
    picture.cursorColumn = std::min(markerWidth + view.cursorColumn, width);
    picture.lines.push_back(painter.painted(line));
    if (complaint) {
        for (const Runs& part : wrapped(painter.prepared(TerminalText::danger(*complaint)), width))
            picture.lines.push_back(painter.painted(part));
    }
    return picture;
}

Picture choicePicture(const PromptSession& session, const Heading& heading, const ChoiceQuestion& question,
                      std::size_t selected) {
    const Painter painter = session.painter();
    const TerminalDescription room = session.room();
    Picture picture;
    heading.append(picture, painter, room.width);

    constexpr std::size_t fewest = 3;
    const std::size_t taken = picture.lines.size() + 2; // the last line, and one for the cursor afterwards
    const std::size_t count = question.options.size();
    const std::size_t shown =
        std::min(count, std::max(fewest, room.height > taken ? room.height - taken : 0));
    const std::size_t first = std::min(selected - std::min(selected, shown / 2), count - shown);
    for (std::size_t index = first; index < first + shown; ++index) {
        const bool chosen = index == selected;
        Runs line{{TextStyle::accent, std::string(chosen ? marker : noMarker)}};
        for (auto& part : painter.preparedLine(question.options[index]))
            line.push_back(
                {chosen && part.style == TextStyle::plain ? TextStyle::accent : part.style, part.text});
        picture.lines.push_back(painter.painted(truncated(line, room.width)));
    }
    std::string help = "\u2191/\u2193, Enter";
    if (shown < count)
        help = fmt::format("{} of {}   {}", selected + 1, count, help);
    picture.cursorLine = picture.lines.size();
    picture.lines.push_back(
        painter.painted(truncated({{TextStyle::muted, std::string(noMarker) + help}}, room.width)));
    return picture;
}

/// Where a key leads among `count` options.
std::size_t moved(std::size_t selected, std::size_t count, const Key& key) {
    using Kind = Key::Kind;
    if (key.kind == Kind::up || (key.kind == Kind::character && key.text == "k"))
        return (selected + count - 1) % count;
    if (key.kind == Kind::down || key.kind == Kind::tab || (key.kind == Kind::character && key.text == "j"))
        return (selected + 1) % count;
    if (key.kind == Kind::home)
        return 0;
    if (key.kind == Kind::end)
        return count - 1;
    if (key.kind == Kind::character && key.text >= "1" && key.text <= "9" && key.text.size() == 1) {
        const auto number = static_cast<std::size_t>(key.text[0] - '1');
        return number < count ? number : selected;
    }
    return selected;
}

} // namespace

std::string PromptError::describe(const Case& which) {
    if (const auto* unasked = std::get_if<NotInteractive>(&which)) {
        std::string text = fmt::format("\"{}\" cannot be asked without a terminal.", unasked->question);
        return unasked->hint.empty() ? text : text + " " + unasked->hint;
    }
    if (const auto* ended = std::get_if<EndOfInput>(&which))
        return fmt::format("The input ended before \"{}\" was answered.", ended->question);
    return fmt::format("The terminal cannot be used for a question: {}.",
                       std::generic_category().message(std::get<TerminalFailure>(which).errorNumber));
}

bool Terminal::yesOrNoChoicePrompt(const YesOrNoQuestion& question) {
    const Heading heading{question.title, question.question, question.description};
    OutputPipeline& output = conversationFor(*screen, *input, heading, question.hint);
    PromptSession session(*screen, *input, output, cancellation, heading.name());
    bool yes = question.defaultAnswer;
    for (bool answered = false; !answered;) {
        session.draw(yesOrNoPicture(session, heading, yes));
        const Key key = session.nextKey();
        switch (key.kind) {
        case Key::Kind::character:
            if (key.text == "y" || key.text == "Y" || key.text == "n" || key.text == "N") {
                yes = key.text == "y" || key.text == "Y";
                answered = true;
            } else if (key.text == "h" || key.text == "l") {
                yes = key.text == "h";
            }
            break;
        case Key::Kind::left:
        case Key::Kind::up:
        case Key::Kind::home: yes = true; break;
        case Key::Kind::right:
        case Key::Kind::down:
        case Key::Kind::end: yes = false; break;
        case Key::Kind::tab: yes = !yes; break;
        case Key::Kind::enter: answered = true; break;
        case Key::Kind::endOfInput: session.endOfInput();
        case Key::Kind::deleteForward:
            if (key.closesInput)
                session.endOfInput();
            break;
        default: break;
        }
    }
    if (question.collapseOnSelection)
        session.collapse(collapsedLine(session.painter(), heading, TextStyle::accent, yes ? "Yes" : "No"));
    else
        session.draw(yesOrNoPicture(session, heading, yes));
    return yes;
}

std::string Terminal::textPrompt(const TextQuestion& question) {
    const Heading heading{question.title, question.prompt, question.description};
    OutputPipeline& output = conversationFor(*screen, *input, heading, question.hint);
    PromptSession session(*screen, *input, output, cancellation, heading.name());
    LineEditor editor;
    std::optional<std::string> complaint;
    for (;;) {
        session.draw(textPicture(session, heading, editor, question, complaint));
        const Key key = session.nextKey();
        if (key.kind == Key::Kind::endOfInput || (key.closesInput && editor.text().empty()))
            session.endOfInput();
        editor.handle(key);
        if (key.kind != Key::Kind::enter)
            continue;
        std::string answer = editor.text().empty() ? question.defaultValue.value_or("") : editor.text();
        complaint = question.validation ? question.validation(answer) : std::nullopt;
        if (complaint)
            continue;
        if (question.secure || question.collapseOnAnswer) {
            const TerminalText shown = question.secure  ? TerminalText::muted("(hidden)")
                                       : answer.empty() ? TerminalText::muted("(empty)")
                                                        : TerminalText(answer);
            session.collapse(collapsedLine(session.painter(), heading, TextStyle::accent, shown));
        } else {
            session.draw(textPicture(session, heading, editor, question, std::nullopt));
        }
        return answer;
    }
}

std::size_t Terminal::singleChoicePrompt(const ChoiceQuestion& question) {
    if (question.options.empty())
        throw std::invalid_argument("singleChoicePrompt: no options");
    const Heading heading{question.title, question.question, question.description};
    OutputPipeline& output = conversationFor(*screen, *input, heading, question.hint);
    PromptSession session(*screen, *input, output, cancellation, heading.name());
    std::size_t selected = std::min(question.selected, question.options.size() - 1);
    for (;;) {
        session.draw(choicePicture(session, heading, question, selected));
        const Key key = session.nextKey();
        if (key.kind == Key::Kind::endOfInput || key.closesInput)
            session.endOfInput();
        if (key.kind == Key::Kind::enter)
            break;
        selected = moved(selected, question.options.size(), key);
    }
    if (question.collapseOnSelection)
        session.collapse(
            collapsedLine(session.painter(), heading, TextStyle::accent, question.options[selected]));
    return selected;
}

} // namespace halvo
