#include "Commands/AccountPrompts.h"

namespace halvo {
namespace {

constexpr const char* hint =
    "Run this command in a terminal. Where there is none, set HALVO_TOKEN to an API key of your account.";

} // namespace

std::string askAccount(Terminal& terminal, const TerminalText& title, const TerminalText& question) {
    return terminal.textPrompt({.title = title, .prompt = question, .hint = hint});
}

std::string askEmail(Terminal& terminal) {
    return askAccount(terminal, "Email", "What is your email address?");
}

std::string askPassword(Terminal& terminal, const TerminalText& question) {
    return terminal.textPrompt({.title = "Password", .prompt = question, .secure = true, .hint = hint});
}

} // namespace halvo
