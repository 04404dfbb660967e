#pragma once

#include <Base/Failure.h>

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace halvo {

/// A command line that makes no sense.
class UsageError : public Failure {
public:
    using Failure::Failure;
};

/// Options, with or without a value, and one path, in any order.
class HdiutilArguments {
public:
    /// Throws UsageError for an option that is not known here.
    explicit HdiutilArguments(const std::vector<std::string>& arguments) {
        for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
            if (isAmong(withValue, *argument)) {
                const std::string& option = *argument;
                if (++argument == arguments.end())
                    throw UsageError(option + " needs a value");
                options[option] = *argument;
            } else if (isAmong(withoutValue, *argument)) {
                options[*argument] = "";
            } else if (argument->starts_with('-')) {
                throw UsageError("unknown option: " + *argument);
            } else {
                paths.push_back(*argument);
            }
        }
    }

    bool has(const std::string& option) const { return options.contains(option); }
    std::optional<std::string> find(const std::string& option) const {
        const auto found = options.find(option);
        return found == options.end() ? std::nullopt : std::optional(found->second);
    }
    /// Throws UsageError without the option.
    std::string value(const std::string& option) const {
        if (auto found = find(option))
            return *std::move(found);
        throw UsageError("missing option: " + option);
    }
    /// Throws UsageError unless there is exactly one.
    const std::string& path() const {
        if (paths.size() != 1)
            throw UsageError(paths.empty() ? "missing path" : "unexpected argument: " + paths[1]);
        return paths[0];
    }

private:
    // Those of macOS's hdiutil that mean something here, and those that can be passed over.
    static constexpr std::array<std::string_view, 7> withValue{
        "-srcfolder", "-volname", "-fs", "-format", "-size", "-o", "-mountrandom"};
    static constexpr std::array<std::string_view, 14> withoutValue{
        "-limits",   "-plist",  "-readonly", "-readwrite", "-noverify", "-noautoopen",    "-nobrowse",
        "-autoopen", "-verify", "-force",    "-quiet",     "-verbose",  "-puppetstrings", "-noautofsck"};

    static bool isAmong(const auto& known, const std::string& option) {
        return std::find(known.begin(), known.end(), option) != known.end();
    }

    std::map<std::string, std::string> options;
    std::vector<std::string> paths;
};

} // namespace halvo
