#include <Platform/SystemProcessRunner.h>

#include "ChildProcess.h"

namespace halvo {

SystemProcessRunner::SystemProcessRunner(const Environment& environment, ToolPaths tools)
    : environment(environment), tools(std::move(tools)), children(std::make_unique<RunningChildren>()) {
    struct sigaction action {};
    if (::sigaction(SIGCHLD, nullptr, &action) == 0 &&
        (action.sa_handler == SIG_IGN || (action.sa_flags & SA_NOCLDWAIT) != 0))
        ::signal(SIGCHLD, SIG_DFL);
}

SystemProcessRunner::~SystemProcessRunner() = default;

ProcessResult SystemProcessRunner::run(const ProcessRequest& request) {
    ChildProcess child(tools.resolve(request.executable), request, environment, *children);
    std::optional<RunningProcess::Instant> deadline;
    if (request.timeLimit)
        deadline = std::chrono::steady_clock::now() + *request.timeLimit;
    ProcessResult result;
    while (!child.termination()) {
        const bool inTime = child.read(deadline, [&](OutputStream stream, std::span<const char> bytes) {
            std::string& text =
                stream == OutputStream::standardOutput ? result.standardOutput : result.standardError;
            if (bytes.size() > request.outputLimit - text.size())
                throw ProcessError(ProcessError::OutputLimitExceeded{request.outputLimit});
            text.append(bytes.data(), bytes.size());
        });
        if (!inTime || (deadline && !child.termination() && std::chrono::steady_clock::now() >= *deadline))
            throw ProcessError(ProcessError::TimeLimitExceeded{*request.timeLimit});
    }
    result.termination = *child.termination();
    return result;
}

std::unique_ptr<RunningProcess> SystemProcessRunner::start(const ProcessRequest& request) {
    return std::make_unique<ChildProcess>(tools.resolve(request.executable), request, environment, *children);
}

void SystemProcessRunner::stopChildren() { children->signal(SIGSTOP); }
void SystemProcessRunner::continueChildren() { children->signal(SIGCONT); }
void SystemProcessRunner::killCancelledChildren() { children->killCancelled(); }

} // namespace halvo
