#include <Support/ScriptedTools.h>

#include <Base/Text.h>

#include <fstream>

#include <nlohmann/json.hpp>

namespace halvo::test {
namespace {

std::map<std::string, std::string> withTools(std::map<std::string, std::string> variables,
                                             const std::filesystem::path& folder) {
    variables.emplace("PATH", "/usr/bin:/bin");
    variables.emplace("HALVO_TOOL_ROOT", HALVO_SCRIPTED_TOOLS);
    variables.emplace("SCRIPTED_TOOLS", folder.string());
    return variables;
}

std::optional<SeenKey> seenKey(const nlohmann::json& key) {
    if (key.is_null())
        return std::nullopt;
    return SeenKey{.path = key.at("path").get<std::string>(),
                   .content = key.at("content"),
                   .mode = key.at("mode"),
                   .folderMode = key.at("folderMode")};
}

} // namespace

ScriptedTools::ScriptedTools(const std::map<std::string, std::string>& added)
    : variables(withTools(added, folder.path())), processes(variables, ToolPaths(variables, "")) {
    std::filesystem::create_directory(temporaryDirectory());
}

void ScriptedTools::script(const std::string& command, const std::vector<std::string>& runs) const {
    folder.write(command + ".json", "[" + joined(runs, ",") + "]");
}

std::map<std::string, std::string> ScriptedTools::programVariables() const {
    return {{"HALVO_TOOL_ROOT", HALVO_SCRIPTED_TOOLS}, {"SCRIPTED_TOOLS", folder.path().string()}};
}

std::vector<ScriptedCall> ScriptedTools::calls() const {
    std::vector<ScriptedCall> calls;
    std::ifstream lines(folder / "calls.jsonl");
    for (std::string line; std::getline(lines, line);) {
        const auto call = nlohmann::json::parse(line);
        calls.push_back({.command = call.at("command"),
                         .tool = call.at("tool"),
                         .arguments = call.at("arguments"),
                         .input = call.at("input"),
                         .environment = call.at("environment"),
                         .key = seenKey(call.at("key")),
                         .exportOptions = call.at("exportOptions"),
                         .ownGroup = call.at("ownGroup")});
    }
    return calls;
}

std::vector<Arguments> ScriptedTools::argumentsOf(const std::string& command) const {
    std::vector<Arguments> arguments;
    for (const ScriptedCall& call : calls())
        if (call.command == command)
            arguments.push_back(call.arguments);
    return arguments;
}

std::vector<pid_t> ScriptedTools::processNumbers() const {
    std::vector<pid_t> numbers;
    std::ifstream file(folder / "pids");
    for (pid_t number = 0; file >> number;)
        numbers.push_back(number);
    return numbers;
}

std::vector<std::string> ScriptedTools::leftovers() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(temporaryDirectory()))
        names.push_back(entry.path().filename());
    return names;
}

} // namespace halvo::test
