#pragma once

#include "CommandLine/CommandArguments.h"

#include <Models/StorageConfiguration.h>
#include <Platform/Environment.h>

#include <optional>
#include <string>

namespace halvo {

/// The options that name a bucket, shared by `release` and `setup`. Each has an environment variable that
/// stands in when the option is absent or empty.
struct S3DestinationOptions {
    std::optional<std::string> bucket{};
    std::optional<std::string> region{};
    std::optional<std::string> publicUrl{};
    std::optional<std::string> endpoint{};
    std::optional<std::string> pathPrefix{};
    std::optional<std::string> appcastPath{};

    /// The same six values after the environment has filled in.
    struct Resolved {
        std::optional<std::string> bucket{};
        std::optional<std::string> region{};
        std::optional<std::string> publicUrl{};
        std::optional<std::string> endpoint{};
        std::optional<std::string> pathPrefix{};
        std::optional<std::string> appcastPath{};
        bool operator==(const Resolved&) const = default;
    };

    void declare(CommandArguments& arguments);
    Resolved resolved(const Environment& environment) const;
    /// Absent without a bucket, whatever else is given. Throws CLIError `invalid_argument` when something is
    /// missing beside the bucket or is not a web address.
    std::optional<S3Configuration> makeConfiguration(const Environment& environment) const;
};

/// An option, unless it is absent or empty; then the variable, unless that is.
std::optional<std::string> firstNonEmpty(const std::optional<std::string>& option,
                                         const Environment& environment, const char* variable);

} // namespace halvo
