#pragma once

#include <Platform/ProcessRunner.h>

#include <chrono>
#include <deque>
#include <string>

namespace halvo {

/// Reads what `notarytool submit` and `wait` print, line by line.
class SubmissionOutput {
public:
    explicit SubmissionOutput(std::string submission) : identifier(std::move(submission)) {}

    void take(const RunningProcess::Line& line);
    /// A line that has no end yet: the tool adds a dot to its status every few seconds.
    void takeBegun(std::string_view text) { takeStatus(text); }

    const std::string& submission() const { return identifier; } ///< empty until the tool has named it
    const std::string& status() const {
        return lastStatus;
    } ///< the verdict, once the tool has ended; else how it goes
    std::string progressLine(std::chrono::seconds waited) const; ///< zero: without a time
    /// What the tool said of its failure: standard error, and standard output where that names none.
    std::string text() const;

private:
    void takeStatus(std::string_view text);

    std::string identifier;
    std::string lastStatus;
    std::deque<std::string> lines[2]; ///< the last ones of each stream
};

} // namespace halvo
