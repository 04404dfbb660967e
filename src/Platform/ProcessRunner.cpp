#include <Platform/ProcessRunner.h>

#include <Base/Unicode.h>

#include <cstring>

namespace halvo {
namespace {

std::string textForPeople(const std::string& output) {
    std::string text = repairedUTF8(output);
    text.erase(text.find_last_not_of(" \t\r\n") + 1);
    return text.empty() ? "Unknown error" : text;
}

} // namespace

std::string ProcessResult::errorText() const { return textForPeople(standardError); }
std::string ProcessResult::outputText() const { return textForPeople(standardOutput); }

std::string ProcessError::describe(const Case& which) {
    struct Describer {
        std::string operator()(const CannotStart&) const {
            return "Executable is not found or cannot be executed.";
        }
        std::string operator()(const OutputLimitExceeded&) const {
            return "Child process output exceeded the limit.";
        }
        std::string operator()(const SystemFailure& failure) const {
            return "Could not " + failure.action + ": " + std::strerror(failure.code);
        }
    };
    return std::visit(Describer{}, which);
}

} // namespace halvo
