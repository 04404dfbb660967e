#include <Platform/Environment.h>

#include <string_view>

extern char** environ;

namespace halvo {

Environment Environment::ofProcess() {
    std::map<std::string, std::string> variables;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string_view line(*entry);
        const std::size_t equals = line.find('=');
        if (equals != std::string_view::npos)
            variables.emplace(line.substr(0, equals), line.substr(equals + 1));
    }
    return Environment(std::move(variables));
}

std::optional<std::string> Environment::find(const std::string& name) const {
    const auto entry = values.find(name);
    if (entry == values.end())
        return std::nullopt;
    return entry->second;
}

std::optional<std::string> Environment::nonEmpty(const std::string& name) const {
    auto value = find(name);
    if (value && value->empty())
        value.reset();
    return value;
}

} // namespace halvo
