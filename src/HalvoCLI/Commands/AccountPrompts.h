#pragma once

#include <Terminal/Terminal.h>

#include <string>

namespace halvo {

/// Asks for a line of text. Throws as Terminal::textPrompt does.
std::string askAccount(Terminal& terminal, const TerminalText& title, const TerminalText& question);
std::string askEmail(Terminal& terminal);
/// What is typed does not show.
std::string askPassword(Terminal& terminal, const TerminalText& question);

} // namespace halvo
