#pragma once

#include <Models/App.h>
#include <Terminal/Table.h>

#include <vector>

namespace halvo {

/// A row for each app of either kind, by name. The bundle identifier, which is typed, is never cut.
Table appTable(std::vector<App> apps);

} // namespace halvo
