#include <Platform/ProcessRunner.h>

#include <Base/Text.h>
#include <Base/Unicode.h>

#include <cstring>

namespace halvo {
namespace {

std::string textForPeople(const std::string& output) {
    std::string text = repairedUTF8(output);
    text.erase(text.find_last_not_of(" \t\r\n") + 1);
    return text;
}

/// Tools that report everything they do end with what went wrong.
std::string lastLines(std::string text) {
    constexpr int shown = 20;
    std::size_t start = text.size();
    for (int line = 0; line < shown && start != std::string::npos; ++line)
        start = start == 0 ? std::string::npos : text.rfind('\n', start - 1);
    return start == std::string::npos ? text : text.substr(start + 1);
}

} // namespace

std::string ProcessResult::errorText() const {
    std::string text = textForPeople(standardError);
    if (!containsIgnoringCase(text, "error"))
        if (const std::string output = lastLines(textForPeople(standardOutput)); !output.empty())
            text += (text.empty() ? "" : "\n") + output;
    return text.empty() ? "Unknown error" : text;
}

std::string ProcessErrorCases::SystemFailure::description() const {
    return "Could not " + action + ": " + std::strerror(code);
}

Termination RunningProcess::wait() {
    for (;;) {
        const Event event = next();
        if (const auto* end = std::get_if<End>(&event))
            return end->termination;
    }
}

} // namespace halvo
