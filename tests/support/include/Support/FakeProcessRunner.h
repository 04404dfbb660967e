#pragma once

#include <Platform/ProcessRunner.h>

#include <deque>
#include <functional>
#include <vector>

namespace halvo::test {

/// Starts nothing: answers each command by how it begins, and remembers what it was asked.
///
/// A command is the executable followed by its arguments. The longest prefix that fits answers; several
/// answers of one prefix are given in turn, and the last one stays. A command without an answer cannot be
/// started, as a tool that does not exist.
class FakeProcessRunner final : public ProcessRunner {
public:
    using Answer = std::function<ProcessResult(const ProcessRequest&)>;

    void reply(const Arguments& prefix, ProcessResult result);
    /// The answer looks at the request, or throws.
    void reply(const Arguments& prefix, Answer answer);

    ProcessResult run(const ProcessRequest& request) override;
    /// A child that has written all lines of the answer and ended.
    std::unique_ptr<RunningProcess> start(const ProcessRequest& request) override;

    std::vector<Arguments> commands;
    std::vector<ProcessRequest> requests;

private:
    struct Rule {
        Arguments prefix;
        std::deque<Answer> answers;
    };
    std::vector<Rule> rules;
};

} // namespace halvo::test
