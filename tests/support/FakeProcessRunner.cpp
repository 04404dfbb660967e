#include <Support/FakeProcessRunner.h>

#include <Base/Text.h>

#include <algorithm>

namespace halvo::test {
namespace {

class EndedProcess final : public RunningProcess {
public:
    explicit EndedProcess(const ProcessResult& result) : termination(result.termination) {
        queue(OutputStream::standardOutput, result.standardOutput);
        queue(OutputStream::standardError, result.standardError);
    }

    Event next(std::optional<Instant>) override {
        if (lines.empty())
            return End{termination};
        Line line = lines.front();
        lines.pop_front();
        return line;
    }
    bool signalGroup(int) override { return false; }

private:
    void queue(OutputStream stream, const std::string& text) {
        for (const std::string& line : split(text, '\n'))
            if (!line.empty())
                lines.push_back({stream, line});
    }

    std::deque<Line> lines;
    Termination termination;
};

bool beginsWith(const Arguments& command, const Arguments& prefix) {
    return command.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), command.begin());
}

} // namespace

void FakeProcessRunner::reply(const Arguments& prefix, ProcessResult result) {
    reply(prefix, [result = std::move(result)](const ProcessRequest&) { return result; });
}

void FakeProcessRunner::reply(const Arguments& prefix, Answer answer) {
    const auto known =
        std::find_if(rules.begin(), rules.end(), [&](const Rule& rule) { return rule.prefix == prefix; });
    if (known != rules.end())
        known->answers.push_back(std::move(answer));
    else
        rules.push_back({prefix, {std::move(answer)}});
}

ProcessResult FakeProcessRunner::run(const ProcessRequest& request) {
    Arguments command = request.arguments;
    command.insert(command.begin(), request.executable);
    commands.push_back(command);
    requests.push_back(request);
    Rule* best = nullptr;
    for (Rule& rule : rules)
        if (beginsWith(command, rule.prefix) && (!best || rule.prefix.size() > best->prefix.size()))
            best = &rule;
    if (!best)
        throw ProcessError(ProcessError::CannotStart{request.executable});
    const Answer answer = best->answers.front();
    if (best->answers.size() > 1)
        best->answers.pop_front();
    return answer(request);
}

std::unique_ptr<RunningProcess> FakeProcessRunner::start(const ProcessRequest& request) {
    return std::make_unique<EndedProcess>(run(request));
}

} // namespace halvo::test
