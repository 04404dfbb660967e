#pragma once

#include "CommandLine/CommandArguments.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace halvo {

struct Services;

/// Ends the process with this status after the command has said all there is to say.
struct ExitCode {
    int status = 0;

    static constexpr int success = 0;
    static constexpr int failure = 1;
    static constexpr int usage = 64; ///< EX_USAGE of sysexits(3)
};

/// One entry of the command tree: a command that runs, or a group that only holds commands.
class Command {
public:
    virtual ~Command() = default;
    virtual std::string_view name() const = 0;
    /// The line beside the name in the listing of the group above.
    virtual std::string_view abstract() const = 0;
    /// What the help tells beyond the abstract; empty for none.
    virtual std::string_view discussion() const { return {}; }
    virtual void declare(CommandArguments&) {}
    /// Does the work. Raises ExitCode to end with a status, after it has reported.
    virtual void run(Services& services) = 0;

    /// The commands below this one, in the order of the help. A command with any is a group and never runs.
    const std::vector<std::unique_ptr<Command>>& subcommands() const { return children; }

protected:
    std::vector<std::unique_ptr<Command>> children;
};

/// A group: a name and the commands below it.
class CommandGroup : public Command {
public:
    void run(Services&) final {}

protected:
    template<typename... Commands>
    void add(std::unique_ptr<Commands>... commands) {
        (children.push_back(std::move(commands)), ...);
    }
};

} // namespace halvo
