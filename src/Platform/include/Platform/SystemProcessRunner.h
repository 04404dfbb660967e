#pragma once

#include <Platform/Environment.h>
#include <Platform/ProcessRunner.h>
#include <Platform/ToolPaths.h>

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

    ProcessResult run(const ProcessRequest& request) override;
    std::unique_ptr<RunningProcess> start(const ProcessRequest& request) override;

private:
    const Environment& environment;
    ToolPaths tools;
};

} // namespace halvo
