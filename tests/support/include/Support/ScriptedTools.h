#pragma once

#include <Platform/Environment.h>
#include <Platform/ProcessRunner.h>
#include <Platform/SystemProcessRunner.h>

#include <Support/TemporaryFolder.h>

#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace halvo::test {

/// A key file as a tool found it.
struct SeenKey {
    std::filesystem::path path{};
    std::string content{};
    unsigned mode = 0;
    unsigned folderMode = 0;
};

/// What a scripted tool was asked.
struct ScriptedCall {
    std::string command{}; ///< such as "notarytool submit"
    std::string tool{};    ///< the name that it was started under, such as "xcrun"
    Arguments arguments{};
    std::string input{};
    std::map<std::string, std::string> environment{};
    std::optional<SeenKey> key{};
    std::string exportOptions{}; ///< the property list that an export was given
    bool ownGroup = false;
};

/// Real processes in the place of codesign, security, xcrun, xcodebuild and spctl: the programs in
/// tests/support/tools below `HALVO_TOOL_ROOT`. Without a script each does what the original does when all is
/// well; tests/support/tools/scripted_tool says what a script can do.
class ScriptedTools {
public:
    /// `variables` are added to the environment that the tools and the code under test see.
    explicit ScriptedTools(const std::map<std::string, std::string>& variables = {});
    ScriptedTools(const ScriptedTools&) = delete;
    ScriptedTools& operator=(const ScriptedTools&) = delete;

    /// A JSON list of steps for each run of a command; further runs play the last.
    void script(const std::string& command, const std::vector<std::string>& runs) const;

    const Environment& environment() const { return variables; }
    /// What a program needs to find the tools, for runs of its own.
    std::map<std::string, std::string> programVariables() const;
    ProcessRunner& runner() { return processes; }
    /// For the temporary files of the code under test.
    std::filesystem::path temporaryDirectory() const { return folder / "tmp"; }
    std::filesystem::path operator/(std::string_view name) const { return folder / name; }
    std::filesystem::path write(std::string_view name, std::string_view content) const {
        return folder.write(name, content);
    }

    std::vector<ScriptedCall> calls() const;
    /// The arguments of each call of that command.
    std::vector<Arguments> argumentsOf(const std::string& command) const;
    /// Every process that was started, children of the tools too.
    std::vector<pid_t> processNumbers() const;
    /// Names in the temporary directory.
    std::vector<std::string> leftovers() const;

private:
    TemporaryFolder folder;
    Environment variables;
    SystemProcessRunner processes;
};

} // namespace halvo::test
