#pragma once

#include "CommandLine/Command.h"

#include <Models/App.h>

#include <memory>
#include <string>
#include <variant>

namespace halvo {

std::unique_ptr<Command> makeAppsDeleteCommand();

/// What `apps delete` is about to delete.
struct AppTarget {
    std::variant<ServerApp, LocalApp> value{};

    /// The question that a person answers first, with what goes and what stays.
    std::string confirmationMessage() const;
};

} // namespace halvo
