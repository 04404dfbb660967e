#pragma once

#include "CommandLine/Command.h"

#include <Models/App.h>
#include <Terminal/Table.h>

#include <string>
#include <variant>
#include <vector>

namespace halvo {

/// A row for each app of either kind, by name. The bundle identifier, which is typed, is never cut.
Table appTable(std::vector<App> apps);

/// What `apps delete` is about to delete.
struct AppTarget {
    std::variant<ServerApp, LocalApp> value{};

    /// The question that a person answers first, with what goes and what stays.
    std::string confirmationMessage() const;
};

} // namespace halvo
