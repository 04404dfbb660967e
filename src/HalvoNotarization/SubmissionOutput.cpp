#include "SubmissionOutput.h"

#include <Base/Text.h>
#include <Base/UUID.h>

namespace halvo {

// What the tool prints, each status once more as it changes:
//   <output> ::= <sentence>* "  id: " <UUID> <sentence>* <status>* <sentence>*
//   <status> ::= "Current status: " <text> "."* | "  status: " <text>
void SubmissionOutput::take(const RunningProcess::Line& line) {
    constexpr std::size_t kept = 100; // progress of an upload comes in thousands of lines
    std::deque<std::string>& list = lines[static_cast<std::size_t>(line.stream)];
    list.push_back(line.text);
    if (list.size() > kept)
        list.pop_front();
    if (line.stream != OutputStream::standardOutput)
        return;
    takeStatus(line.text);
    constexpr std::string_view idKey = "id: ";
    const std::string_view text = trimmed(line.text);
    if (identifier.empty() && text.starts_with(idKey) && UUID::parse(text.substr(idKey.size())))
        identifier = text.substr(idKey.size());
}

void SubmissionOutput::takeStatus(std::string_view text) {
    constexpr std::string_view key = "status: ";
    text = trimmed(text);
    if (text.starts_with("Current "))
        text.remove_prefix(8);
    if (!text.starts_with(key))
        return;
    text.remove_prefix(key.size());
    lastStatus = text.substr(0, text.find_last_not_of(". ") + 1);
}

std::string SubmissionOutput::progressLine(std::chrono::seconds waited) const {
    std::string line = identifier.empty() ? "Submitting to Apple" : "Submission " + identifier;
    if (!lastStatus.empty())
        line += ": " + lastStatus;
    const auto seconds = waited.count();
    if (seconds == 0)
        return line;
    const std::string rest = std::to_string(seconds % 60) + "s";
    return line + ", waiting for " + (seconds < 60 ? rest : std::to_string(seconds / 60) + "m " + rest);
}

std::string SubmissionOutput::text() const {
    ProcessResult said;
    for (const std::string& line : lines[0])
        said.standardOutput += line + "\n";
    for (const std::string& line : lines[1])
        said.standardError += line + "\n";
    return said.errorText();
}

} // namespace halvo
