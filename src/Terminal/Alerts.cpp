#include <Terminal/Terminal.h>

#include "Screen.h"

namespace halvo {
namespace {

struct AlertKind {
    TextStyle style;
    std::string_view symbol;
    std::string_view title;
};

constexpr AlertKind successKind{TextStyle::success, "\u2714", "Success"};
constexpr AlertKind warningKind{TextStyle::warning, "!", "Warning"};
constexpr AlertKind errorKind{TextStyle::danger, "\u2716", "Error"};

/// The first line after `first`, the others after `further`.
std::string indented(const Painter& painter, const TerminalText& text, std::string_view first,
                     std::string_view further) {
    std::string result;
    for (const Runs& line : lines(painter.prepared(text)))
        result.append(result.empty() ? first : further).append(painter.painted(line)).append("\n");
    return result;
}

/// A block under a title on a terminal; elsewhere lines that can be searched for.
std::string render(const AlertKind& kind, const Alert& alert, const Painter& painter, bool block) {
    const std::string title = std::string(kind.symbol) + " " + std::string(kind.title);
    std::string text;
    if (block)
        text = painter.painted({{kind.style, title}}) + "\n" + indented(painter, alert.message, "  ", "  ");
    else
        text = indented(painter, std::string(kind.title) + ": " + alert.message, "", "  ");
    for (const TerminalText& step : alert.nextSteps)
        text += indented(painter, step, block ? "  \u203A " : "  Next step: ", "    ");
    return text;
}

void write(Screen& screen, OutputPipeline& output, const AlertKind& kind, const std::vector<Alert>& alerts) {
    std::string text;
    for (const Alert& alert : alerts)
        text += render(kind, alert, screen.painter(output), output.description().interactive);
    screen.write(screen.hold(), output, text);
}

} // namespace

void Terminal::success(const TerminalText& message, const std::vector<TerminalText>& nextSteps) {
    write(*screen, screen->standardOutput(), successKind, {{message, nextSteps}});
}

void Terminal::warning(const std::vector<Alert>& alerts) {
    write(*screen, screen->standardOutput(), warningKind, alerts);
}

void Terminal::error(const Alert& alert) { write(*screen, screen->standardError(), errorKind, {alert}); }

} // namespace halvo
