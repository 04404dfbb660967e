#include "Commands/Apps/AppTable.h"

#include <Base/Text.h>

#include <algorithm>

namespace halvo {

Table appTable(std::vector<App> apps) {
    std::ranges::stable_sort(apps, {}, [](const App& app) { return lowercased(app.name()); });
    Table table{.columns = {{.header = "Name"},
                            {.header = "Bundle ID", .overflow = ColumnOverflow::keeps},
                            {.header = "Hosting"}}};
    for (const App& app : apps)
        table.rows.push_back({TerminalText::primary(app.name()),
                              TerminalText::secondary(app.bundleIdentifier()),
                              app.localApp() != nullptr ? "S3" : "Halvo"});
    return table;
}

} // namespace halvo
