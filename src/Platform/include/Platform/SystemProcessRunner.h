#pragma once

#include <Platform/Environment.h>
#include <Platform/ProcessRunner.h>
#include <Platform/ToolPaths.h>

#include <memory>

namespace halvo {

/// Real children of this process.
///
/// A child starts with the default signal dispositions, an empty signal mask and no open file but its three
/// standard streams, and leaves no zombie behind.
class SystemProcessRunner final : public ProcessRunner {
public:
    /// Children inherit `environment`. Undoes an ignored SIGCHLD that this process was started with: the
    /// system would throw away how children ended.
    SystemProcessRunner(const Environment& environment, ToolPaths tools);

    ~SystemProcessRunner() override;

    ProcessResult run(const ProcessRequest& request) override;
    std::unique_ptr<RunningProcess> start(const ProcessRequest& request) override;

    // For the reactions to signals, from any thread.

    /// Stops all children where they are, since Ctrl-Z does not reach those with a group of their own.
    void stopChildren();
    void continueChildren();
    /// Kills the children whose runs are cancelled, so that nobody waits for the end of their teardown.
    void killCancelledChildren();

private:
    const Environment& environment;
    ToolPaths tools;
    const std::unique_ptr<class RunningChildren> children;
};

} // namespace halvo
