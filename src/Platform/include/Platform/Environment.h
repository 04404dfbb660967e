#pragma once

#include <map>
#include <optional>
#include <string>

namespace halvo {

/// The environment of the process as it was at its start.
class Environment {
public:
    Environment() = default;
    explicit Environment(std::map<std::string, std::string> variables) : values(std::move(variables)) {}
    /// The environment of this process. Read in `main` only.
    static Environment ofProcess();

    /// Absent when the variable is unset.
    std::optional<std::string> find(const std::string& name) const;
    /// Absent when the variable is unset or empty: an empty value counts as none everywhere in this program.
    std::optional<std::string> nonEmpty(const std::string& name) const;
    const std::map<std::string, std::string>& all() const { return values; }

private:
    std::map<std::string, std::string> values;
};

} // namespace halvo
